#include "expr/record_source.h"

#include <cctype>

#include "io/file.h"

namespace xbase::expr {

std::string alias_for_path(const std::string& path) {
  std::string a = io::path_base_name(path);
  for (char& c : a) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return a;
}

}  // namespace xbase::expr
