// The context's last error message: no C function hands it out, so the tests
// that check what a message names read it here, the one place that knows
// where the context keeps it.
#pragma once

#include <string>

#include "api/handles.h"

namespace test_files {

inline std::string last_message(const CODE4* c4) { return c4->error_message; }

}  // namespace test_files
