// Shared pieces of the engine-component tests: a stand-in for the engine's build-dependent
// answers, a recorder of the calls that pass the engine door, a fresh VGEnv, and a data source
// that only attaches, detaches and names its alias.
#pragma once

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "engine/Vgdbase.h"
#include "engine/Vgeng.h"
#include "engine/Vgglobal.h"
#include "engine_api/call_recorder.h"

namespace vg::testing {

// Forwards to the engine except for the answers a test sets.
class StandInCalls : public engine_api::EngineCalls {
 public:
  std::optional<long> build_flags;        // u4switch
  std::optional<int> connect_result;      // code4connect
  std::optional<int> error_code;          // code4errorCode when only reading
  bool index_extension_set = false;       // code4indexExtension answers index_extension
  const char* index_extension = nullptr;
  bool init_fails = false;                // code4initP answers nil

  long u4switch() override { return build_flags ? *build_flags : ::u4switch(); }
  CODE4* code4initP() override { return init_fails ? nullptr : ::code4initP(); }
  int code4connect(CODE4* c4, const char* server, const char* process, const char* user,
                   const char* password, const char* protocol) override {
    if (connect_result) return *connect_result;
    return ::code4connect(c4, server, process, user, password, protocol);
  }
  int code4errorCode(CODE4* c4, int code) override {
    if (error_code && code == r4check) return *error_code;
    return ::code4errorCode(c4, code);
  }
  const char* code4indexExtension(CODE4* c4) override {
    return index_extension_set ? index_extension : ::code4indexExtension(c4);
  }
};

// Every engine call made while it lives is logged, and answered by the stand-in.
struct Recording {
  StandInCalls stand_in;
  engine_api::CallRecorder recorder{stand_in};
  engine_api::ScopedEngineCalls scope{recorder};

  std::vector<std::string> texts() const { return recorder.texts(); }
  std::vector<std::string> names() const { return recorder.names(); }
  void clear() { recorder.clear(); }
};

// A VGEnv of its own for a while, built (and so reading the build flags) through the calls in
// force when it is made. Engines and databases made under it must go before it does.
class FreshEnv {
 public:
  FreshEnv() : saved_(VGEnv), env_(std::make_unique<TVGEnv>()) { VGEnv = env_.get(); }
  ~FreshEnv() { VGEnv = saved_; }
  FreshEnv(const FreshEnv&) = delete;
  FreshEnv& operator=(const FreshEnv&) = delete;
  TVGEnv& env() { return *env_; }

 private:
  TVGEnv* saved_;
  std::unique_ptr<TVGEnv> env_;
};

// "name(handle, args...)" for a call on `engine`'s context.
inline std::string on(const TVGEngine& engine, const std::string& name,
                      const std::vector<std::string>& args = {}) {
  engine_api::EngineCall call{name, {engine_api::pointer_text(engine.EngineHandle())}};
  call.args.insert(call.args.end(), args.begin(), args.end());
  return call.text();
}

// The message of the `Expected` that `run` raises; "<none>" when it raises nothing.
template <typename Expected, typename Run>
std::string raised(Run run) {
  try {
    run();
  } catch (const Expected& e) {
    return e.Message();
  }
  return "<none>";
}

// A data source reduced to what a database sees of it. Each Close is noted in `journal`.
class FakeSource : public TVGDataSourceBase {
 public:
  FakeSource(TVGDataBase& database, std::string alias, std::vector<std::string>* journal)
      : TVGDataSourceBase(nullptr), database_(database), alias_(std::move(alias)),
        journal_(journal) {}
  // Still open: leaves the database (which then still exists) as a real source would.
  ~FakeSource() override {
    if (open_) Detach();
  }

  void Open() {
    database_.OpenSources().push_back(this);
    open_ = true;
  }
  void Close() override {
    ++closes;
    if (on_close) on_close();
    if (journal_ != nullptr) journal_->push_back("close " + alias_);
    Detach();
  }
  std::string GetDBAlias() override { return alias_; }

  int closes = 0;
  std::function<void()> on_close;

 private:
  void Detach() {
    auto& sources = database_.OpenSources();
    sources.erase(std::remove(sources.begin(), sources.end(), this), sources.end());
    open_ = false;
  }

  TVGDataBase& database_;
  std::string alias_;
  std::vector<std::string>* journal_;
  bool open_ = false;
};

// A folder of its own under the test's binary folder, emptied first and removed at the end.
// path() ends in "/".
class TempFolder {
 public:
  explicit TempFolder(const std::string& name)
      : path_(std::filesystem::path(VGX_TEST_BINARY_DIR) / ("tmp_" + name)) {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  std::string path() const { return path_.string() + "/"; }

 private:
  std::filesystem::path path_;
};

}  // namespace vg::testing
