// How the tool ends a command that cannot go on: one line on stderr and an exit code.
#pragma once

#include <string_view>

namespace vgx {

inline constexpr int kExitOk = 0;
inline constexpr int kExitUsage = 1;    // bad command line
inline constexpr int kExitFailure = 2;  // a file or the engine failed

// "vgx: <message>" on stderr; returns kExitFailure.
int fail(std::string_view message);
// "vgx: <message>" and a pointer to --help on stderr; returns kExitUsage.
int usage_error(std::string_view message);

}  // namespace vgx
