#include "report.h"

#include <iostream>

namespace vgx {

int fail(std::string_view message) {
  std::cerr << "vgx: " << message << '\n';
  return kExitFailure;
}

int usage_error(std::string_view message) {
  std::cerr << "vgx: " << message << "\nRun 'vgx --help' for usage.\n";
  return kExitUsage;
}

}  // namespace vgx
