#include "csv.h"

namespace vgx {

std::string csv_escape(std::string_view field) {
  if (field.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(field);
  std::string out;
  out.reserve(field.size() + 2);
  out.push_back('"');
  for (char c : field) {
    if (c == '"') out.push_back('"');
    out.push_back(c);
  }
  out.push_back('"');
  return out;
}

void write_csv_row(std::ostream& out, const std::vector<std::string>& fields) {
  // A lone empty field would be an empty line, which readers take for no field at all.
  if (fields.size() == 1 && fields[0].empty()) {
    out << "\"\"\r\n";
    return;
  }
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) out << ',';
    out << csv_escape(fields[i]);
  }
  out << "\r\n";
}

}  // namespace vgx
