// A table of engine calls that logs every call (name and arguments, in order) and passes it on
// to another table, so that a test can check which engine calls an operation makes.
#pragma once

#include <cinttypes>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine_api/engine_calls.h"

namespace vg::engine_api {

// How a call log writes a handle or buffer address; "(null)" for none.
inline std::string pointer_text(const void* p) {
  if (p == nullptr) return "(null)";
  char text[2 + 2 * sizeof(uintptr_t) + 1];
  std::snprintf(text, sizeof text, "0x%" PRIxPTR, reinterpret_cast<uintptr_t>(p));
  return text;
}

// One argument as a call log writes it: text arguments as their text, handles and output
// buffers as addresses, numbers in decimal.
template <typename T>
std::string arg_text(const T& value) {
  if constexpr (std::is_same_v<T, const char*>) {
    return value != nullptr ? std::string(value) : "(null)";
  } else if constexpr (std::is_same_v<T, CountedText>) {
    if (value.text == nullptr) return "(null)";
    return std::string(value.text, value.len > 0 ? static_cast<size_t>(value.len) : 0);
  } else if constexpr (std::is_pointer_v<T>) {
    return pointer_text(value);
  } else if constexpr (std::is_floating_point_v<T>) {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", static_cast<double>(value));
    return text;
  } else {
    return std::to_string(value);
  }
}

template <typename... Args>
std::vector<std::string> arg_texts(const Args&... args) {
  return {arg_text(args)...};
}

struct EngineCall {
  std::string name;
  std::vector<std::string> args;

  // "name(arg, arg)".
  std::string text() const {
    std::string result = name + "(";
    for (size_t i = 0; i < args.size(); ++i) result += (i == 0 ? "" : ", ") + args[i];
    return result + ")";
  }
  bool operator==(const EngineCall&) const = default;
};

class CallRecorder : public EngineCalls {
 public:
  // Passes every call on to `inner`, by default the engine itself.
  explicit CallRecorder(EngineCalls& inner = engine_calls()) : inner_(inner) {}

  const std::vector<EngineCall>& log() const { return log_; }
  void clear() { log_.clear(); }
  bool empty() const { return log_.empty(); }

  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const EngineCall& call : log_) result.push_back(call.name);
    return result;
  }
  std::vector<std::string> texts() const {
    std::vector<std::string> result;
    for (const EngineCall& call : log_) result.push_back(call.text());
    return result;
  }
  std::vector<EngineCall> named(std::string_view name) const {
    std::vector<EngineCall> result;
    for (const EngineCall& call : log_) {
      if (call.name == name) result.push_back(call);
    }
    return result;
  }

#define VG_ENGINE_CALL_RECORD(result, name, params, args, logged) \
  result name params override {                                   \
    log_.push_back(EngineCall{#name, arg_texts logged});          \
    return inner_.name args;                                      \
  }
  VG_ENGINE_CALLS(VG_ENGINE_CALL_RECORD)
#undef VG_ENGINE_CALL_RECORD

 private:
  EngineCalls& inner_;
  std::vector<EngineCall> log_;
};

}  // namespace vg::engine_api
