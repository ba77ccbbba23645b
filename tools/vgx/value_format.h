// Text forms of field values shared by the plain and CSV output: trimming, ISO dates, numbers.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vgx {

// Without trailing blanks and NUL bytes (the padding writers leave in character fields).
std::string_view trim_right(std::string_view text);
// Without leading and trailing blanks and NUL bytes.
std::string_view trim(std::string_view text);

// "CCYYMMDD" as "CCYY-MM-DD"; a blank date gives ""; anything not eight digits is shown trimmed
// as stored, so damaged dates stay visible.
std::string format_date(std::string_view ccyymmdd);

// "CCYYMMDDhh:mm:ss" as "CCYY-MM-DD hh:mm:ss"; an empty date part gives "".
std::string format_date_time(std::string_view text);

// A numeric field's stored text without its padding; blank gives "".
std::string format_number_text(std::string_view text);

// A binary number: fixed with `decimals` places when positive, otherwise the shortest text that
// reads back as the same double.
std::string format_double(double value, int decimals);

// The bytes as lower-case hexadecimal pairs.
std::string format_hex(std::string_view bytes);

// A value fitted to one cell of an aligned table: line breaks and tabs become \n, \r, \t, other
// control bytes '?', and text longer than max_width (0: no limit) is cut, ending in "...".
std::string plain_cell(std::string_view text, std::size_t max_width);

// A count with thousands separators: 1234567 as "1,234,567".
std::string group_thousands(long long value);

}  // namespace vgx
