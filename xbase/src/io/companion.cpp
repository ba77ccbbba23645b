#include "io/companion.h"

#include <algorithm>
#include <cctype>

#include "io/file.h"

namespace xbase::io {

std::string companion_path(const std::string& table_path, const std::string& extension, FileSystem& fs) {
  const std::string table_ext = path_extension(table_path);
  const bool lower = !table_ext.empty() &&
                     std::none_of(table_ext.begin(), table_ext.end(), [](unsigned char c) { return std::isupper(c); });
  std::string ext = extension;
  for (char& c : ext)
    c = static_cast<char>(lower ? std::tolower(static_cast<unsigned char>(c)) : std::toupper(static_cast<unsigned char>(c)));
  const std::string wanted = path_replace_extension(table_path, ext);
  const std::string found = fs.resolve_case(wanted);
  return fs.exists(found) ? found : wanted;
}

}  // namespace xbase::io
