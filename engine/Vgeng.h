// TVGEngine: the component that owns one context of the engine library. It starts and stops
// the context, applies the engine-wide settings of its properties, connects to a server
// engine when the loaded build is one, keeps the list of databases that work through it, and
// answers what the context's format supports.
#pragma once

#include <bitset>
#include <string>
#include <string_view>
#include <vector>

#include "engine/Vgglobal.h"
#include "framework/component.h"

struct CODE4;

namespace vg {

class TVGDataBase;

enum TAutoUnlock { auOff, auData, auAll };
enum TFoxProVersion { fpv25, fpv26, fpv30 };
enum TCodePage { cpNone, cpMSDOS, cpANSI };
enum TCollationSequence { csMachine, csGeneral };
// The table and index format of the context; tfDefault keeps the one the engine build uses.
enum TTableFormat { tfDefault, tfFox, tfClipper, tfdBASE };

// A set of one-byte characters, such as field-type letters.
class TCharSet {
 public:
  TCharSet() = default;
  // The set of the characters of `chars`.
  explicit TCharSet(std::string_view chars) { Include(chars); }

  bool Contains(char c) const { return bits_.test(static_cast<unsigned char>(c)); }
  void Include(char c) { bits_.set(static_cast<unsigned char>(c)); }
  void Include(std::string_view chars) {
    for (char c : chars) Include(c);
  }
  bool Empty() const { return bits_.none(); }
  // The members in character order.
  std::string Chars() const;
  bool operator==(const TCharSet&) const = default;

 private:
  std::bitset<256> bits_;
};

class TVGEngine : public TComponent {
 public:
  explicit TVGEngine(TComponent* Owner);
  // Stops the context when started and detaches every database.
  ~TVGEngine() override;

  // The context handle of the last Start: nil before the first start, and kept as it was
  // (though no longer usable) after StartUndo.
  CODE4* EngineHandle() const { return handle_; }
  bool Started() const { return started_; }
  // Set by Connect and never cleared.
  bool Connected() const { return connected_; }
  // The databases that work through this engine (not owned).
  std::vector<TVGDataBase*>& Databases() { return databases_; }

  // Published settings. Each setter stores its value and, while started, passes it to the
  // context; Start passes them all again.
  bool LockEnforce() const { return lock_enforce_; }
  void SetLockEnforce(bool Value);
  int LockAttempts() const { return lock_attempts_; }
  void SetLockAttempts(int Value);
  int LockDelay() const { return lock_delay_; }
  void SetLockDelay(int Value);
  TAutoUnlock AutoUnlock() const { return auto_unlock_; }
  void SetAutoUnlock(TAutoUnlock Value);
  bool SingleOpen() const { return single_open_; }
  void SetSingleOpen(bool Value);
  TFoxProVersion FoxProVersion() const { return fox_pro_version_; }
  void SetFoxProVersion(TFoxProVersion Value);
  TCodePage CodePage() const { return code_page_; }
  void SetCodePage(TCodePage Value);
  TCollationSequence CollationSequence() const { return collation_sequence_; }
  void SetCollationSequence(TCollationSequence Value);
  // True lets the engine report errors by its own means; false (the default) keeps it silent.
  bool VGErrorEnable() const { return vg_error_enable_; }
  void SetVGErrorEnable(bool Value);
  TTableFormat TableFormat() const { return table_format_; }
  void SetTableFormat(TTableFormat Value);

  // Read by Connect only.
  const std::string& Password() const { return password_; }
  void SetPassword(const std::string& Value) { password_ = Value; }
  const std::string& ProcessID() const { return process_id_; }
  void SetProcessID(const std::string& Value) { process_id_ = Value; }
  const std::string& ServerId() const { return server_id_; }
  void SetServerId(const std::string& Value) { server_id_ = Value; }
  const std::string& UserId() const { return user_id_; }
  void SetUserId(const std::string& Value) { user_id_ = Value; }
  // Read by Start only.
  bool ConnectOnStart() const { return connect_on_start_; }
  void SetConnectOnStart(bool Value) { connect_on_start_ = Value; }

  TNotifyEvent OnConnect;

  // Makes a new context and configures it; nothing when already started. Raises
  // EVGEngineError when the library cannot start or the connection fails.
  void Start();
  // Closes every table and frees the context; nothing when not started.
  void StartUndo();
  // Connects to the server engine in the client/server model (nothing to do on a desk-top
  // build), then marks the engine connected and fires OnConnect.
  void Connect();
  // Closes the tables of every database, then whatever the context still has open.
  void CloseFiles();
  // Whether a data source of an attached database has this database alias (ignoring case).
  bool IsAliasOpen(const std::string& Alias);
  // Puts VGEnv's open defaults back into the context, undoing one-off switches.
  void SetDefaults();

  int GetLastErrorCode();
  void ResetErrorCode();
  std::string GetLastErrorText();

  // The context's index extension; a Clipper context answers "CGP" for its group files.
  std::string GetIndexExt();
  TIndexFormat GetIndexFormat();

  // Field-type letters by the context's format (and FoxPro level).
  TCharSet ValidFieldTypes();
  TCharSet BlobFields();
  TCharSet FixedLengthTypes();
  TCharSet FixedBinaryTypes();
  // Both: a FoxPro context at level 3, whose tables carry null flags.
  bool Fox3FieldsSupported();
  bool GetNullFieldsMayExist();

 private:
  // The handle while it refers to a context that exists, else nil: a handle kept after
  // StartUndo must never reach the engine again.
  CODE4* context() const { return live_ ? handle_ : nullptr; }
  void ApplyTableFormat(bool restoring_default);

  CODE4* handle_ = nullptr;
  std::string server_id_ = "S4SERVER";
  std::string user_id_;
  std::string password_;
  std::string process_id_ = "23165";
  bool started_ = false;
  bool connected_ = false;
  bool connect_on_start_ = true;
  TFoxProVersion fox_pro_version_ = fpv26;
  TCodePage code_page_ = cpNone;
  TCollationSequence collation_sequence_ = csMachine;
  bool vg_error_enable_ = false;
  bool lock_enforce_ = true;
  int lock_attempts_ = 5;
  int lock_delay_ = 100;
  TAutoUnlock auto_unlock_ = auOff;
  bool single_open_ = true;
  TTableFormat table_format_ = tfDefault;
  // NUL-terminated copies handed to code4connect.
  std::string server_text_;
  std::string user_text_;
  std::string password_text_;
  std::string process_text_;
  std::vector<TVGDataBase*> databases_;

  bool live_ = false;
  // Contexts left behind by a Start whose connection failed; freed with the component.
  std::vector<CODE4*> orphans_;
};

// The check components make after engine calls: a negative pending error code of `Engine` is
// cleared and raised as EVGError "Vargo error: <code> has occured before <Request> was
// called."; zero or a positive code passes.
void CheckEngineError(TVGEngine& Engine, const std::string& Request);

}  // namespace vg
