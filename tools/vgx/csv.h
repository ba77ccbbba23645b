// CSV output as RFC 4180 lays it out: comma separated, CRLF line ends, a field quoted (with its
// quotes doubled) only when it holds a comma, a quote or a line break.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vgx {

std::string csv_escape(std::string_view field);

// Writes one record followed by CRLF.
void write_csv_row(std::ostream& out, const std::vector<std::string>& fields);

}  // namespace vgx
