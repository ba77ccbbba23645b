#include "engine/Vgeng.h"

#include <algorithm>

#include "engine/Vgdbase.h"
#include "engine_api/engine_api.h"
#include "framework/sys_utils.h"

namespace vg {

namespace {

using engine_api::calls;

// Fixed settings of every new context.
constexpr int kLockAttemptsSingle = 2;
constexpr int kOptimizeDefault = -1;
// code4errorCode with this argument only reads the code.
constexpr int kReadErrorCode = -5;
constexpr int kUniqueException = 20;
constexpr int kUniqueContinue = 25;
// code4connect's answers that mean connected.
constexpr int kConnected = 0;
constexpr int kAlreadyConnected = 150;
constexpr const char* kSocketLibrary = "C4SOCK.DLL";

// Format numbers of code4indexFormat (and bits of the build flags).
constexpr int kFormatFox = 1;
constexpr int kFormatClipper = 2;
constexpr int kFormatDBase = 4;

int flag(bool value) { return value ? 1 : 0; }

int unlock_mode(TAutoUnlock value) {
  // auData and auAll do not follow the enumeration's order: the engine's 1 is "all".
  switch (value) {
    case auData: return 2;
    case auAll: return 1;
    case auOff: break;
  }
  return 0;
}

int compatibility_level(TFoxProVersion value) {
  switch (value) {
    case fpv25: return 25;
    case fpv30: return 30;
    case fpv26: break;
  }
  return 26;
}

int code_page_mark(TCodePage value) {
  switch (value) {
    case cpMSDOS: return 1;
    case cpANSI: return 3;
    case cpNone: break;
  }
  return 0;
}

// The format the loaded build uses by itself, 0 when its flags name none.
int build_format() {
  switch (VGEnv->GetDLLFormat()) {
    case DLLFox: return kFormatFox;
    case DLLClipper: return kFormatClipper;
    case DLLDBase: return kFormatDBase;
    case DLLUnknown:
    case DLLClient: break;
  }
  return 0;
}

}  // namespace

std::string TCharSet::Chars() const {
  std::string chars;
  for (size_t i = 0; i < bits_.size(); ++i) {
    if (bits_.test(i)) chars += static_cast<char>(i);
  }
  return chars;
}

TVGEngine::TVGEngine(TComponent* Owner) : TComponent(Owner) {}

TVGEngine::~TVGEngine() {
  if (started_) StartUndo();
  // Each database leaves the list as its engine is cleared.
  while (!databases_.empty()) databases_.back()->SetVGEngine(nullptr);
  for (CODE4* orphan : orphans_) calls().code4initUndo(orphan);
}

void TVGEngine::SetLockEnforce(bool Value) {
  lock_enforce_ = Value;
  if (started_) calls().code4lockEnforce(handle_, flag(Value));
}

void TVGEngine::SetLockAttempts(int Value) {
  lock_attempts_ = Value;
  if (started_) calls().code4lockAttempts(handle_, Value);
}

void TVGEngine::SetLockDelay(int Value) {
  lock_delay_ = Value;
  if (started_) calls().code4lockDelay(handle_, Value);
}

void TVGEngine::SetAutoUnlock(TAutoUnlock Value) {
  auto_unlock_ = Value;
  if (started_) calls().code4unlockAutoSetCB(handle_, unlock_mode(Value));
}

void TVGEngine::SetSingleOpen(bool Value) {
  single_open_ = Value;
  if (started_) calls().code4singleOpen(handle_, flag(Value));
}

void TVGEngine::SetFoxProVersion(TFoxProVersion Value) {
  fox_pro_version_ = Value;
  if (started_) calls().code4compatibility(handle_, compatibility_level(Value));
}

void TVGEngine::SetCodePage(TCodePage Value) {
  code_page_ = Value;
  if (started_) calls().code4codePage(handle_, code_page_mark(Value));
}

void TVGEngine::SetCollationSequence(TCollationSequence Value) {
  collation_sequence_ = Value;
  if (started_) calls().code4collatingSequence(handle_, Value == csGeneral ? 1 : 0);
}

void TVGEngine::SetVGErrorEnable(bool Value) {
  vg_error_enable_ = Value;
  // Enabling the engine's own reporting clears its errors-off switch.
  if (started_) calls().code4errOff(handle_, flag(!Value));
}

void TVGEngine::SetTableFormat(TTableFormat Value) {
  table_format_ = Value;
  if (started_) ApplyTableFormat(true);
}

void TVGEngine::ApplyTableFormat(bool restoring_default) {
  int format = 0;
  switch (table_format_) {
    case tfFox: format = kFormatFox; break;
    case tfClipper: format = kFormatClipper; break;
    case tfdBASE: format = kFormatDBase; break;
    case tfDefault:
      // A new context already has the build's format; a running one may have been switched.
      if (restoring_default) format = build_format();
      break;
  }
  if (format != 0) calls().code4indexFormat(handle_, format);
}

void TVGEngine::Start() {
  if (started_) return;
  // A context whose connection failed inside an earlier Start is replaced, not reused.
  if (live_) orphans_.push_back(handle_);
  handle_ = calls().code4initP();
  live_ = handle_ != nullptr;
  if (handle_ == nullptr) throw EVGEngineError("Could not start engine.");
  if (connect_on_start_ || VGEnv->GetDataBaseModel() == dmDeskTop) Connect();
  started_ = true;

  calls().code4autoOpen(handle_, 0);
  calls().code4lockAttemptsSingle(handle_, kLockAttemptsSingle);
  calls().code4safety(handle_, 0);
  calls().code4errFieldName(handle_, 0);
  calls().code4errTagName(handle_, 0);
  calls().code4optimize(handle_, kOptimizeDefault);
  calls().code4optimizeWrite(handle_, kOptimizeDefault);

  const std::string date_format = engine_api::engine_text(VGEnv->DateFormat());
  calls().code4dateFormatSet(handle_, date_format.c_str());

  SetLockEnforce(lock_enforce_);
  SetLockAttempts(lock_attempts_);
  SetLockDelay(lock_delay_);
  SetAutoUnlock(auto_unlock_);
  SetSingleOpen(single_open_);
  SetFoxProVersion(fox_pro_version_);
  SetCodePage(code_page_);
  SetCollationSequence(collation_sequence_);
  SetVGErrorEnable(vg_error_enable_);
  ApplyTableFormat(false);

  SetDefaults();
  VGEnv->EngineList().push_back(this);
}

void TVGEngine::StartUndo() {
  if (!started_) return;
  CloseFiles();
  auto& engines = VGEnv->EngineList();
  engines.erase(std::remove(engines.begin(), engines.end(), this), engines.end());
  calls().code4initUndo(handle_);
  live_ = false;
  started_ = false;
}

void TVGEngine::Connect() {
  if (VGEnv->GetDataBaseModel() == dmClientServer) {
    server_text_ = engine_api::engine_text(server_id_);
    process_text_ = engine_api::engine_text(process_id_);
    user_text_ = engine_api::engine_text(user_id_);
    password_text_ = engine_api::engine_text(password_);
    const int rc = calls().code4connect(handle_, server_text_.c_str(), process_text_.c_str(),
                                        user_text_.c_str(), password_text_.c_str(),
                                        kSocketLibrary);
    if (rc != kConnected && rc != kAlreadyConnected) {
      ResetErrorCode();
      throw EVGEngineError("Could not connect to server: " + server_id_);
    }
  }
  connected_ = true;
  if (OnConnect) OnConnect(this);
}

void TVGEngine::CloseFiles() {
  for (size_t i = 0; i < databases_.size(); ++i) databases_[i]->CloseFiles();
  if (CODE4* c4 = context()) calls().code4close(c4);
}

bool TVGEngine::IsAliasOpen(const std::string& Alias) {
  const std::string wanted = AnsiUpperCase(Alias);
  for (TVGDataBase* database : databases_) {
    for (TVGDataSourceBase* source : database->OpenSources()) {
      if (AnsiUpperCase(source->GetDBAlias()) == wanted) return true;
    }
  }
  return false;
}

void TVGEngine::SetDefaults() {
  CODE4* c4 = context();
  if (c4 == nullptr) return;
  calls().code4accessMode(c4, flag(VGEnv->DefaultExclusive()));
  calls().code4readOnly(c4, flag(VGEnv->DefaultOpenMode() == domReadOnly));
  calls().code4errDefaultUnique(c4, VGEnv->DefaultUniqueTagHandling() == duthException
                                        ? kUniqueException
                                        : kUniqueContinue);
  calls().code4autoOpen(c4, 0);
  calls().code4safety(c4, 0);
}

int TVGEngine::GetLastErrorCode() {
  CODE4* c4 = context();
  if (c4 == nullptr) return 0;
  return static_cast<int16_t>(calls().code4errorCode(c4, kReadErrorCode));
}

void TVGEngine::ResetErrorCode() {
  if (CODE4* c4 = context()) calls().code4errorCode(c4, 0);
}

std::string TVGEngine::GetLastErrorText() {
  CODE4* c4 = context();
  if (c4 == nullptr) return {};
  const int code = GetLastErrorCode();
  const char* text = calls().error4text(c4, code);
  return text != nullptr ? text : "";
}

std::string TVGEngine::GetIndexExt() {
  CODE4* c4 = context();
  if (c4 == nullptr) return {};
  const char* extension = calls().code4indexExtension(c4);
  if (extension == nullptr) return {};
  // A Clipper context works with group files that list its single-tag index files.
  if (std::string_view(extension) == "NTX") return "CGP";
  return extension;
}

TIndexFormat TVGEngine::GetIndexFormat() {
  CODE4* c4 = context();
  if (c4 == nullptr) return ifUnknown;
  const char* extension = calls().code4indexExtension(c4);
  if (extension == nullptr) return ifUnknown;
  const std::string upper = UpperCase(extension);
  if (upper == "NTX") return ifClipper;
  if (upper == "MDX") return ifdBASE;
  if (upper == "CDX") return ifFox;
  return ifUnknown;
}

TCharSet TVGEngine::ValidFieldTypes() {
  TCharSet types("CDLMN");
  switch (GetIndexFormat()) {
    case ifdBASE: types.Include("BF"); break;
    case ifFox:
      types.Include("FG");
      if (fox_pro_version_ == fpv30) types.Include("BITXYZ");
      break;
    case ifClipper:
    case ifUnknown: break;
  }
  return types;
}

TCharSet TVGEngine::BlobFields() {
  TCharSet types("GMX");
  // "B" is a binary memo in dBASE tables but a fixed double in FoxPro 3 tables.
  if (GetIndexFormat() == ifdBASE) types.Include('B');
  return types;
}

TCharSet TVGEngine::FixedLengthTypes() {
  TCharSet types("DLM");
  switch (GetIndexFormat()) {
    case ifdBASE: types.Include('B'); break;
    case ifFox:
      types.Include('G');
      if (fox_pro_version_ == fpv30) types.Include("BITXY");
      break;
    case ifClipper:
    case ifUnknown: break;
  }
  return types;
}

TCharSet TVGEngine::FixedBinaryTypes() {
  TCharSet types;
  if (GetIndexFormat() == ifFox && fox_pro_version_ == fpv30) types.Include("BITY");
  return types;
}

bool TVGEngine::Fox3FieldsSupported() {
  return GetIndexFormat() == ifFox && fox_pro_version_ == fpv30;
}

bool TVGEngine::GetNullFieldsMayExist() { return Fox3FieldsSupported(); }

void CheckEngineError(TVGEngine& Engine, const std::string& Request) {
  const int code = Engine.GetLastErrorCode();
  if (code >= 0) return;
  Engine.ResetErrorCode();
  throw EVGError("Vargo error: " + std::to_string(code) + " has occured before " + Request +
                 " was called.");
}

}  // namespace vg
