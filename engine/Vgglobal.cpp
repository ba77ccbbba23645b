#include "engine/Vgglobal.h"

#include <new>

#include "engine/Vgeng.h"
#include "engine_api/engine_api.h"

namespace vg {

namespace {

// The build flag of a client of a server engine, which the header leaves unnamed.
constexpr uint32_t kClientBuild = 0x08;

// Plain storage, not a static object: the counted initialisation runs from other units' static
// initialisers, before or after this unit's own, so nothing here may depend on static
// construction or destruction order.
int unit_references = 0;
alignas(TVGEnv) unsigned char unit_env_storage[sizeof(TVGEnv)];
TVGEnv* unit_env = nullptr;

// Every started engine gets the same call, in list order.
template <typename Apply>
void for_each_engine(const std::vector<TVGEngine*>& engines, Apply apply) {
  for (TVGEngine* engine : engines) apply(engine->EngineHandle());
}

}  // namespace

TVGEnv* VGEnv = nullptr;

void VgglobalInitialization() {
  if (unit_references++ == 0) {
    unit_env = ::new (static_cast<void*>(unit_env_storage)) TVGEnv();
    VGEnv = unit_env;
  }
}

void VgglobalFinalization() {
  if (--unit_references == 0) {
    if (VGEnv == unit_env) VGEnv = nullptr;
    unit_env->~TVGEnv();
    unit_env = nullptr;
  }
}

TVGEnv::TVGEnv() : build_flags_(static_cast<uint32_t>(engine_api::calls().u4switch())) {}

TVGEnv::~TVGEnv() {
  database_list_.clear();
  engine_list_.clear();
}

TDataBaseModel TVGEnv::GetDataBaseModel() const {
  return (build_flags_ & u4desktop) != 0 ? dmDeskTop : dmClientServer;
}

TDLLFormat TVGEnv::GetDLLFormat() const {
  TDLLFormat format = DLLUnknown;
  if ((build_flags_ & u4formatFox) != 0) format = DLLFox;
  if ((build_flags_ & u4formatClipper) != 0) format = DLLClipper;
  if ((build_flags_ & u4formatDbase) != 0) format = DLLDBase;
  if ((build_flags_ & kClientBuild) != 0) format = DLLClient;
  return format;
}

std::string TVGEnv::GetDateMask() const {
  std::string mask;
  mask.reserve(date_format_.size() + 4);
  for (char c : date_format_) {
    mask += (c == 'C' || c == 'D' || c == 'M' || c == 'Y') ? '9' : c;
  }
  return mask + ";1;_";
}

void TVGEnv::SetVGVersion(TVGVersion Value) {
  if (Value != vg_version_) vg_version_ = Value;
}

void TVGEnv::SetEpochStart(TEpochStart Value) {
  if (Value != epoch_start_) epoch_start_ = Value;
}

void TVGEnv::SetDefaultExclusive(bool Value) {
  if (Value == default_exclusive_) return;
  default_exclusive_ = Value;
  for_each_engine(engine_list_, [&](CODE4* handle) {
    engine_api::calls().code4accessMode(handle, Value ? 1 : 0);
  });
}

void TVGEnv::SetDefaultOpenMode(TDefaultOpenMode Value) {
  if (Value == default_open_mode_) return;
  default_open_mode_ = Value;
  for_each_engine(engine_list_, [&](CODE4* handle) {
    engine_api::calls().code4readOnly(handle, Value == domReadOnly ? 1 : 0);
  });
}

void TVGEnv::SetDefaultUniqueTagHandling(TDefaultUniqueTagHandling Value) {
  if (Value == default_unique_tag_handling_) return;
  default_unique_tag_handling_ = Value;
  for_each_engine(engine_list_, [&](CODE4* handle) {
    engine_api::calls().code4errDefaultUnique(
        handle, Value == duthException ? r4unique : r4uniqueContinue);
  });
}

void TVGEnv::SetDateFormat(const std::string& Value) {
  if (Value == date_format_) return;
  date_format_ = Value;
  const std::string picture = engine_api::engine_text(Value);
  for_each_engine(engine_list_, [&](CODE4* handle) {
    engine_api::calls().code4dateFormatSet(handle, picture.c_str());
  });
}

// TVGGlobals: a window onto VGEnv.

TVGGlobals::TVGGlobals(TComponent* Owner) : TComponent(Owner) {}

TVGVersion TVGGlobals::VGVersion() const { return VGEnv->VGVersion(); }
void TVGGlobals::SetVGVersion(TVGVersion Value) { VGEnv->SetVGVersion(Value); }
bool TVGGlobals::DefaultDeleted() const { return VGEnv->DefaultDeleted(); }
void TVGGlobals::SetDefaultDeleted(bool Value) { VGEnv->SetDefaultDeleted(Value); }
bool TVGGlobals::DefaultExclusive() const { return VGEnv->DefaultExclusive(); }
void TVGGlobals::SetDefaultExclusive(bool Value) { VGEnv->SetDefaultExclusive(Value); }
TDefaultOpenMode TVGGlobals::DefaultOpenMode() const { return VGEnv->DefaultOpenMode(); }
void TVGGlobals::SetDefaultOpenMode(TDefaultOpenMode Value) { VGEnv->SetDefaultOpenMode(Value); }
TDefaultUniqueTagHandling TVGGlobals::DefaultUniqueTagHandling() const {
  return VGEnv->DefaultUniqueTagHandling();
}
void TVGGlobals::SetDefaultUniqueTagHandling(TDefaultUniqueTagHandling Value) {
  VGEnv->SetDefaultUniqueTagHandling(Value);
}
std::string TVGGlobals::DateFormat() const { return VGEnv->DateFormat(); }
void TVGGlobals::SetDateFormat(const std::string& Value) { VGEnv->SetDateFormat(Value); }
TEpochStart TVGGlobals::EpochStart() const { return VGEnv->EpochStart(); }
void TVGGlobals::SetEpochStart(TEpochStart Value) { VGEnv->SetEpochStart(Value); }
bool TVGGlobals::OEMConvert() const { return VGEnv->OEMConvert(); }
void TVGGlobals::SetOEMConvert(bool Value) { VGEnv->SetOEMConvert(Value); }
bool TVGGlobals::DefaultProvideDefaults() const { return VGEnv->DefaultProvideDefaults(); }
void TVGGlobals::SetDefaultProvideDefaults(bool Value) { VGEnv->SetDefaultProvideDefaults(Value); }
std::string TVGGlobals::SaveCaption() const { return VGEnv->SaveCaption(); }
void TVGGlobals::SetSaveCaption(const std::string& Value) { VGEnv->SetSaveCaption(Value); }
std::string TVGGlobals::CancelCaption() const { return VGEnv->CancelCaption(); }
void TVGGlobals::SetCancelCaption(const std::string& Value) { VGEnv->SetCancelCaption(Value); }
std::string TVGGlobals::AddCaption() const { return VGEnv->AddCaption(); }
void TVGGlobals::SetAddCaption(const std::string& Value) { VGEnv->SetAddCaption(Value); }
std::string TVGGlobals::ChangeCaption() const { return VGEnv->ChangeCaption(); }
void TVGGlobals::SetChangeCaption(const std::string& Value) { VGEnv->SetChangeCaption(Value); }
std::string TVGGlobals::DeleteCaption() const { return VGEnv->DeleteCaption(); }
void TVGGlobals::SetDeleteCaption(const std::string& Value) { VGEnv->SetDeleteCaption(Value); }

TDateTime TVGGlobals::EpochEndDate() const { return EncodeDate(VGEnv->EpochStart() + 99, 12, 31); }
TDateTime TVGGlobals::EpochStartDate() const { return EncodeDate(VGEnv->EpochStart(), 1, 1); }

bool TVGGlobals::DefaultAutoFormatFields() const { return VGEnv->DefaultAutoFormatFields(); }
void TVGGlobals::SetDefaultAutoFormatFields(bool Value) {
  VGEnv->SetDefaultAutoFormatFields(Value);
}
bool TVGGlobals::TransliterateEnable() const { return VGEnv->TransliterateEnable(); }
void TVGGlobals::SetTransliterateEnable(bool Value) { VGEnv->SetTransliterateEnable(Value); }
TPreConnectionFormat TVGGlobals::PreConnectionFormat() const {
  return VGEnv->PreConnectionFormat();
}
void TVGGlobals::SetPreConnectionFormat(TPreConnectionFormat Value) {
  VGEnv->SetPreConnectionFormat(Value);
}
TGetTextEvent TVGGlobals::OnGetMessageText() const { return VGEnv->OnGetMessageText; }
void TVGGlobals::SetOnGetMessageText(TGetTextEvent Value) {
  VGEnv->OnGetMessageText = std::move(Value);
}

TDataBaseModel TVGGlobals::GetDataBaseModel() const { return VGEnv->GetDataBaseModel(); }
TDLLFormat TVGGlobals::GetDLLFormat() const { return VGEnv->GetDLLFormat(); }

void TVGGlobals::Loaded() {
  if (OnLoaded) OnLoaded(this);
  TComponent::Loaded();
}

}  // namespace vg
