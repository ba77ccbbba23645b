// What the components use of the engine: its C interface, reached through the call table of
// engine_calls.h, plus owners for the arrays it hands out and the bounded text copies it takes.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "engine_api/engine_calls.h"
#include "vgxbase/xbase.h"

namespace vg::engine_api {

// Text handed to the engine: a NUL-terminated copy of at most 255 bytes.
inline constexpr size_t kMaxEngineText = 255;
inline std::string engine_text(std::string_view text) {
  return std::string(text.substr(0, kMaxEngineText));
}

// Arrays from d4fieldInfo and i4tagInfo, freed with u4freeDefault.
struct EngineArrayFree {
  void operator()(void* p) const noexcept { calls().u4freeDefault(p); }
};
using FieldInfoArray = std::unique_ptr<FIELD4INFO, EngineArrayFree>;
using TagInfoArray = std::unique_ptr<TAG4INFO, EngineArrayFree>;

inline FieldInfoArray field_info(DATA4* data) { return FieldInfoArray(calls().d4fieldInfo(data)); }

}  // namespace vg::engine_api
