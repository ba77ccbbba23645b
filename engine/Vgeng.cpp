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
// code4connect's answer when this process is connected already (the header names no code).
constexpr int kAlreadyConnected = 150;
constexpr const char* kSocketLibrary = "C4SOCK.DLL";

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

// Field-type letters of each kind.
struct FieldTypes {
  const char* valid;
  const char* fixed_length;
  const char* fixed_binary;
  const char* blobs;
};

// The letters of every format; all there is when the context's format is unknown.
constexpr FieldTypes kEveryFormatTypes = {"CDLMN", "DLM", "", "GMX"};

// Everything that depends on a context's table and index format, one row per format.
struct FormatTraits {
  TTableFormat table_format;    // the TableFormat that asks for it
  TDLLFormat build;             // the engine build that uses it by itself
  int engine_format;            // code4indexFormat's number
  const char* extension;        // as code4indexExtension answers it
  const char* shown_extension;  // as GetIndexExt answers it
  TIndexFormat index_format;
  FieldTypes types;             // beyond kEveryFormatTypes
  // FoxPro level 3 (fpv30) adds level3_types, and its tables carry null flags.
  bool has_level3;
  FieldTypes level3_types;
};

constexpr FormatTraits kFormats[] = {
    {tfFox, DLLFox, u4formatFox, "CDX", "CDX", ifFox, {"FG", "G", "", ""},
     true, {"BITXYZ", "BITXY", "BITY", ""}},
    // A Clipper context works with group files that list its single-tag index files.
    {tfClipper, DLLClipper, u4formatClipper, "NTX", "CGP", ifClipper, {"", "", "", ""},
     false, {"", "", "", ""}},
    // "B" is a binary memo in dBASE tables but a fixed double in FoxPro 3 tables.
    {tfdBASE, DLLDBase, u4formatDbase, "MDX", "MDX", ifdBASE, {"BF", "B", "", "B"},
     false, {"", "", "", ""}},
};

// The first row `matches` accepts, nil when none does.
template <typename Matches>
const FormatTraits* find_format(Matches matches) {
  for (const FormatTraits& row : kFormats) {
    if (matches(row)) return &row;
  }
  return nullptr;
}

// The row of the format a context's index extension names (compared upper-cased); nil without
// a context or for an extension no row has.
const FormatTraits* context_format(CODE4* c4) {
  if (c4 == nullptr) return nullptr;
  const char* extension = calls().code4indexExtension(c4);
  if (extension == nullptr) return nullptr;
  const std::string upper = UpperCase(extension);
  return find_format([&](const FormatTraits& row) { return upper == row.extension; });
}

bool at_level3(const FormatTraits* format, TFoxProVersion version) {
  return format != nullptr && format->has_level3 && version == fpv30;
}

// One kind of field-type letters (`kind`) for a format at a FoxPro level.
TCharSet letters(const FormatTraits* format, TFoxProVersion version,
                 const char* FieldTypes::*kind) {
  TCharSet result(kEveryFormatTypes.*kind);
  if (format != nullptr) result.Include(format->types.*kind);
  if (at_level3(format, version)) result.Include(format->level3_types.*kind);
  return result;
}

int unique_mode(TDefaultUniqueTagHandling handling) {
  return handling == duthException ? r4unique : r4uniqueContinue;
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
  const FormatTraits* format = nullptr;
  if (table_format_ != tfDefault) {
    const TTableFormat wanted = table_format_;
    format = find_format([&](const FormatTraits& row) { return row.table_format == wanted; });
  } else if (restoring_default) {
    // A new context already has the build's format; a running one may have been switched.
    const TDLLFormat build = VGEnv->GetDLLFormat();
    format = find_format([&](const FormatTraits& row) { return row.build == build; });
  }
  if (format != nullptr) calls().code4indexFormat(handle_, format->engine_format);
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
    if (rc != r4success && rc != kAlreadyConnected) {
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
  calls().code4errDefaultUnique(c4, unique_mode(VGEnv->DefaultUniqueTagHandling()));
  calls().code4autoOpen(c4, 0);
  calls().code4safety(c4, 0);
}

int TVGEngine::GetLastErrorCode() {
  CODE4* c4 = context();
  if (c4 == nullptr) return 0;
  return static_cast<int16_t>(calls().code4errorCode(c4, r4check));
}

void TVGEngine::ResetErrorCode() {
  if (CODE4* c4 = context()) calls().code4errorCode(c4, r4success);
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
  const std::string_view answered(extension);
  const FormatTraits* format =
      find_format([&](const FormatTraits& row) { return answered == row.extension; });
  return format != nullptr ? format->shown_extension : extension;
}

TIndexFormat TVGEngine::GetIndexFormat() {
  const FormatTraits* format = context_format(context());
  return format != nullptr ? format->index_format : ifUnknown;
}

TCharSet TVGEngine::ValidFieldTypes() {
  return letters(context_format(context()), fox_pro_version_, &FieldTypes::valid);
}

TCharSet TVGEngine::BlobFields() {
  return letters(context_format(context()), fox_pro_version_, &FieldTypes::blobs);
}

TCharSet TVGEngine::FixedLengthTypes() {
  return letters(context_format(context()), fox_pro_version_, &FieldTypes::fixed_length);
}

TCharSet TVGEngine::FixedBinaryTypes() {
  return letters(context_format(context()), fox_pro_version_, &FieldTypes::fixed_binary);
}

bool TVGEngine::Fox3FieldsSupported() {
  return at_level3(context_format(context()), fox_pro_version_);
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
