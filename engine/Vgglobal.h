// The settings that are the same for every component in the process, in the one object VGEnv,
// and TVGGlobals, the component that edits them at design time. Including this header also
// brings the shared enumerations and the exception family.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/Vgglobal_errors.h"
#include "engine/Vgglobal_types.h"
#include "framework/component.h"
#include "framework/date_time.h"

namespace vg {

class TVGDataBase;
class TVGEngine;

class TVGEnv : public TPersistent {
 public:
  // Reads the loaded engine's build flags.
  TVGEnv();
  // Empties both registries without freeing their members.
  ~TVGEnv() override;

  // Which engine build is loaded: u4desktop a stand-alone build; u4formatFox, u4formatClipper,
  // u4formatDbase or 0x08 (a client) its format.
  uint32_t BuildFlags() const { return build_flags_; }
  TDataBaseModel GetDataBaseModel() const;
  // The highest format bit decides.
  TDLLFormat GetDLLFormat() const;
  // An edit mask for date entry: C, D, M and Y become 9, the rest is kept, ";1;_" follows.
  std::string GetDateMask() const;

  TVGVersion VGVersion() const { return vg_version_; }
  void SetVGVersion(TVGVersion Value);
  bool DefaultAutoFormatFields() const { return default_auto_format_fields_; }
  void SetDefaultAutoFormatFields(bool Value) { default_auto_format_fields_ = Value; }
  bool DefaultDeleted() const { return default_deleted_; }
  void SetDefaultDeleted(bool Value) { default_deleted_ = Value; }

  // The three open defaults reach every started engine at once.
  bool DefaultExclusive() const { return default_exclusive_; }
  void SetDefaultExclusive(bool Value);
  TDefaultOpenMode DefaultOpenMode() const { return default_open_mode_; }
  void SetDefaultOpenMode(TDefaultOpenMode Value);
  bool DefaultProvideDefaults() const { return default_provide_defaults_; }
  void SetDefaultProvideDefaults(bool Value) { default_provide_defaults_ = Value; }
  TDefaultUniqueTagHandling DefaultUniqueTagHandling() const {
    return default_unique_tag_handling_;
  }
  void SetDefaultUniqueTagHandling(TDefaultUniqueTagHandling Value);

  TEpochStart EpochStart() const { return epoch_start_; }
  void SetEpochStart(TEpochStart Value);
  // The engine's date picture; a change reaches every started engine.
  const std::string& DateFormat() const { return date_format_; }
  void SetDateFormat(const std::string& Value);

  bool OEMConvert() const { return oem_convert_; }
  void SetOEMConvert(bool Value) { oem_convert_ = Value; }
  const std::string& SaveCaption() const { return save_caption_; }
  void SetSaveCaption(const std::string& Value) { save_caption_ = Value; }
  const std::string& CancelCaption() const { return cancel_caption_; }
  void SetCancelCaption(const std::string& Value) { cancel_caption_ = Value; }
  const std::string& AddCaption() const { return add_caption_; }
  void SetAddCaption(const std::string& Value) { add_caption_ = Value; }
  const std::string& ChangeCaption() const { return change_caption_; }
  void SetChangeCaption(const std::string& Value) { change_caption_ = Value; }
  const std::string& DeleteCaption() const { return delete_caption_; }
  void SetDeleteCaption(const std::string& Value) { delete_caption_ = Value; }
  bool TransliterateEnable() const { return transliterate_enable_; }
  void SetTransliterateEnable(bool Value) { transliterate_enable_ = Value; }
  TPreConnectionFormat PreConnectionFormat() const { return pre_connection_format_; }
  void SetPreConnectionFormat(TPreConnectionFormat Value) { pre_connection_format_ = Value; }

  // Every database component of the process, and every started engine; neither owns them.
  std::vector<TVGDataBase*>& DatabaseList() { return database_list_; }
  std::vector<TVGEngine*>& EngineList() { return engine_list_; }

  TGetTextEvent OnGetMessageText;

 private:
  uint32_t build_flags_;
  TVGVersion vg_version_ = v64;
  bool default_auto_format_fields_ = false;
  bool default_deleted_ = true;
  bool default_exclusive_ = false;
  TDefaultOpenMode default_open_mode_ = domReadWrite;
  bool default_provide_defaults_ = false;
  TDefaultUniqueTagHandling default_unique_tag_handling_ = duthContinue;
  TEpochStart epoch_start_ = 1915;
  std::string date_format_ = "MM/DD/CCYY";
  bool oem_convert_ = false;
  std::string save_caption_ = "&Save";
  std::string cancel_caption_ = "Cancel";
  std::string add_caption_ = "&Add";
  std::string change_caption_ = "Change";
  std::string delete_caption_ = "Delete";
  bool transliterate_enable_ = true;
  TPreConnectionFormat pre_connection_format_ = pcfFox;
  std::vector<TVGDataBase*> database_list_;
  std::vector<TVGEngine*> engine_list_;
};

// The process-wide settings. It exists from the first initialisation of this unit to its last
// finalisation; a test may point it at an object of its own for a while.
extern TVGEnv* VGEnv;

// Counted unit initialisation and finalisation: the first creates VGEnv, the last frees it.
void VgglobalInitialization();
void VgglobalFinalization();

namespace detail {
// One per translation unit that includes this header, so VGEnv is there before any of them
// runs its own static initialisation and stays until all of them are gone.
struct VgglobalUnit {
  VgglobalUnit() { VgglobalInitialization(); }
  ~VgglobalUnit() { VgglobalFinalization(); }
  VgglobalUnit(const VgglobalUnit&) = delete;
  VgglobalUnit& operator=(const VgglobalUnit&) = delete;
};
static const VgglobalUnit vgglobal_unit;
}  // namespace detail

// A component that shows the settings of VGEnv for editing: every instance reads and writes
// the same values.
class TVGGlobals : public TComponent {
 public:
  explicit TVGGlobals(TComponent* Owner);

  TVGVersion VGVersion() const;
  void SetVGVersion(TVGVersion Value);
  bool DefaultDeleted() const;
  void SetDefaultDeleted(bool Value);
  bool DefaultExclusive() const;
  void SetDefaultExclusive(bool Value);
  TDefaultOpenMode DefaultOpenMode() const;
  void SetDefaultOpenMode(TDefaultOpenMode Value);
  TDefaultUniqueTagHandling DefaultUniqueTagHandling() const;
  void SetDefaultUniqueTagHandling(TDefaultUniqueTagHandling Value);
  std::string DateFormat() const;
  void SetDateFormat(const std::string& Value);
  TEpochStart EpochStart() const;
  void SetEpochStart(TEpochStart Value);
  bool OEMConvert() const;
  void SetOEMConvert(bool Value);
  bool DefaultProvideDefaults() const;
  void SetDefaultProvideDefaults(bool Value);
  std::string SaveCaption() const;
  void SetSaveCaption(const std::string& Value);
  std::string CancelCaption() const;
  void SetCancelCaption(const std::string& Value);
  std::string AddCaption() const;
  void SetAddCaption(const std::string& Value);
  std::string ChangeCaption() const;
  void SetChangeCaption(const std::string& Value);
  std::string DeleteCaption() const;
  void SetDeleteCaption(const std::string& Value);
  // 31 December of EpochStart + 99, and 1 January of EpochStart.
  TDateTime EpochEndDate() const;
  TDateTime EpochStartDate() const;
  bool DefaultAutoFormatFields() const;
  void SetDefaultAutoFormatFields(bool Value);
  bool TransliterateEnable() const;
  void SetTransliterateEnable(bool Value);
  TPreConnectionFormat PreConnectionFormat() const;
  void SetPreConnectionFormat(TPreConnectionFormat Value);
  TGetTextEvent OnGetMessageText() const;
  void SetOnGetMessageText(TGetTextEvent Value);

  TDataBaseModel GetDataBaseModel() const;
  TDLLFormat GetDLLFormat() const;

  // Fires OnLoaded, then ends loading.
  void Loaded() override;

  TNotifyEvent OnLoaded;
};

}  // namespace vg
