// Date and date-time functions. Dates are day numbers (0 blank); CTOD,
// DTOC and TTOC lay dates out by the date picture the expression was parsed
// with (the context's, "MM/DD/CCYY" unless set). A two-digit year without
// century digits is in the 1900s. Functions of a blank date give 0, blank
// text or a blank date.
#include <algorithm>
#include <cstring>
#include <ctime>

#include "expr/binding.h"
#include "expr/fast_paths.h"
#include "table/dbf_header.h"
#include "util/date.h"
#include "vgxbase/xbase.h"

namespace xbase::expr {

namespace {

constexpr int kTwoDigitCentury = 1900;
constexpr uint32_t kNameWidth = 9;   // "Wednesday", "September"
constexpr uint32_t kTtosWidth = 14;  // CCYYMMDDhhmmss
constexpr uint32_t kTimeWidth = 9;   // " hh:mm:ss" after the date in TTOC
constexpr int kMaxDateParts = 3;

int32_t fn_today(Program&, const Node&) {
  const std::time_t now = std::time(nullptr);
  std::tm t{};
  localtime_r(&now, &t);
  return date::jdn_from_ymd(t.tm_year + 1900, t.tm_mon + 1, t.tm_mday);
}

// One part of a date picture: a run of C, Y, M or D letters (a C run
// followed by a Y run is one year part with its century).
struct PicturePart {
  char letter;
  size_t digits;
  bool century;
};

// CTOD's reading of separated values such as "1/2/1999": each run of digits
// fills the next part of the picture. False when the value and the picture
// do not line up that way (the positional reading then applies).
bool read_by_parts(const char* v, size_t len, const std::string& pic, int32_t* out) {
  PicturePart parts[kMaxDateParts];
  int np = 0;
  for (size_t i = 0; i < pic.size();) {
    const char c = pic[i];
    if (c != 'C' && c != 'Y' && c != 'M' && c != 'D') {
      ++i;
      continue;
    }
    size_t n = 1;
    while (i + n < pic.size() && pic[i + n] == c) ++n;
    if (c == 'M' && n >= 3) return false;  // month names: positional
    if (c == 'Y' && np > 0 && parts[np - 1].letter == 'C') {
      parts[np - 1] = {'Y', parts[np - 1].digits + n, true};
    } else {
      if (np == kMaxDateParts) return false;
      parts[np++] = {c, n, false};
    }
    i += n;
  }
  int value[3] = {0, 0, 0};  // year, month, day
  bool seen[3] = {false, false, false};
  size_t at = 0;
  for (int k = 0; k < np; ++k) {
    while (at < len && (v[at] < '0' || v[at] > '9')) ++at;
    const size_t s = at;
    while (at < len && v[at] >= '0' && v[at] <= '9') ++at;
    const size_t n = at - s;
    const PicturePart& pp = parts[k];
    // A year may come with four digits where the picture shows two.
    const size_t most = pp.letter == 'Y' ? std::max<size_t>(pp.digits, 4) : pp.digits;
    if (n == 0 || n > most) return false;
    int x = 0;
    for (size_t i = s; i < at; ++i) x = x * 10 + (v[i] - '0');
    const int slot = pp.letter == 'D' ? 2 : pp.letter == 'M' ? 1 : 0;
    if (pp.letter == 'Y' && n <= 2) x += kTwoDigitCentury;
    if (pp.letter == 'C') x *= 100;  // a century alone
    value[slot] += x;
    seen[slot] = true;
  }
  while (at < len && v[at] == ' ') ++at;
  if (at != len || !seen[0] || !seen[1] || !seen[2]) return false;
  *out = date::is_valid_ymd(value[0], value[1], value[2])
             ? date::jdn_from_ymd(value[0], value[1], value[2])
             : 0;
  return true;
}

int32_t fn_ctod(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  const size_t len = std::min(v.size, kMaxPicture);
  size_t first = 0;
  while (first < len && v.data[first] == ' ') ++first;
  if (first == len) return 0;
  int32_t day = 0;
  if (read_by_parts(v.data, len, p.date_picture, &day)) return day;
  char value[kMaxPicture + 1];
  std::memcpy(value, v.data, len);
  value[len] = '\0';
  char ccyymmdd[kDateWidth];
  date4init(ccyymmdd, value, p.date_picture.c_str());
  day = date::day_from_ccyymmdd(ccyymmdd);
  return day > 0 ? day : 0;
}

// date4format ends its text with a NUL: it writes to the stack first so
// that the node's buffer keeps its static width.
TextView fn_dtoc(Program& p, const Node& n) {
  char d[kDateWidth];
  date::ccyymmdd_from_day(p.date(n.arg[0]), d);
  char text[kMaxPicture + 1];
  date4format(d, text, p.date_picture.c_str());
  const size_t len = p.date_picture.size();
  char* out = p.scratch(n, len);
  std::memcpy(out, text, len);
  return {out, len};
}

TextView fn_dtos(Program& p, const Node& n) {
  char* out = p.scratch(n, kDateWidth);
  date::ccyymmdd_from_day(p.date(n.arg[0]), out);
  return {out, kDateWidth};
}

int32_t fn_stod(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  char d[kDateWidth];
  std::memset(d, ' ', kDateWidth);
  std::memcpy(d, v.data, std::min<size_t>(v.size, kDateWidth));
  const int32_t day = date::day_from_ccyymmdd(d);
  return day > 0 ? day : 0;
}

enum class Part { kYear, kMonth, kDay };

template <Part P>
double fn_part(Program& p, const Node& n) {
  int y, m, d;
  date::ymd_from_jdn(p.date(n.arg[0]), &y, &m, &d);
  return P == Part::kYear ? y : P == Part::kMonth ? m : d;
}

// A date field's digits as year, month and day, skipping the day number;
// false for a blank or impossible date.
bool field_ymd(Program& p, const Node& n, int* y, int* m, int* d) {
  const Node& f = p.nodes[n.arg[0]];
  return eight_digits(p.record(f) + f.offset, y, m, d) && date::is_valid_ymd(*y, *m, *d);
}

template <Part P>
double fn_field_part(Program& p, const Node& n) {
  int y, m, d;
  if (!field_ymd(p, n, &y, &m, &d)) return 0;
  return P == Part::kYear ? y : P == Part::kMonth ? m : d;
}

// DTOS of a date field: its bytes when they hold a real date.
TextView fn_dtos_field(Program& p, const Node& n) {
  char* out = p.scratch(n, kDateWidth);
  int y, m, d;
  const Node& f = p.nodes[n.arg[0]];
  if (field_ymd(p, n, &y, &m, &d))
    std::memcpy(out, p.record(f) + f.offset, kDateWidth);
  else
    std::memset(out, ' ', kDateWidth);
  return {out, kDateWidth};
}

double fn_dow(Program& p, const Node& n) { return date::day_of_week(p.date(n.arg[0])); }

TextView name_view(const char* name) {
  return name ? TextView{name, std::strlen(name)} : TextView{};
}

TextView fn_cdow(Program& p, const Node& n) {
  return name_view(date::weekday_name(date::day_of_week(p.date(n.arg[0]))));
}

TextView fn_cmonth(Program& p, const Node& n) {
  int m = 0;
  date::ymd_from_jdn(p.date(n.arg[0]), nullptr, &m, nullptr);
  return name_view(date::month_name(m));
}

TextView fn_ttos(Program& p, const Node& n) {
  const TextView t = p.text(n.arg[0]);  // CCYYMMDDhh:mm:ss
  char* out = p.scratch(n, kTtosWidth);
  static constexpr size_t kFrom[kTtosWidth] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 14, 15};
  for (size_t i = 0; i < kTtosWidth; ++i) out[i] = kFrom[i] < t.size ? t.data[kFrom[i]] : ' ';
  return {out, kTtosWidth};
}

TextView fn_ttoc(Program& p, const Node& n) {
  const TextView t = p.text(n.arg[0]);
  const size_t pic = p.date_picture.size();
  char text[kMaxPicture + 1];
  char d[kDateWidth];
  for (size_t i = 0; i < kDateWidth; ++i) d[i] = i < t.size ? t.data[i] : ' ';
  date4format(d, text, p.date_picture.c_str());
  char* out = p.scratch(n, pic + kTimeWidth);
  std::memcpy(out, text, pic);
  out[pic] = ' ';
  for (size_t i = 0; i + 1 < kTimeWidth; ++i)
    out[pic + 1 + i] = kDateWidth + i < t.size ? t.data[kDateWidth + i] : ' ';
  return {out, pic + kTimeWidth};
}

bool is_date_field(const Call& c, int i) {
  const Node& a = c.arg(i);
  return a.field != kNoIndex && c.program.fields[a.field].desc.storage == table::Storage::kDate;
}

Status bind_date_fn(Call& c) {
  c.node.type = Type::kDate;
  c.node.width = kDateWidth;
  c.node.fn.date = fn_today;
  c.node.pure = false;
  return Status::ok();
}

Status bind_ctod(Call& c) {
  XB_TRY(c.expect(0, Type::kText));
  c.node.type = Type::kDate;
  c.node.width = kDateWidth;
  c.node.fn.date = fn_ctod;
  return Status::ok();
}

Status bind_stod(Call& c) {
  XB_TRY(c.expect(0, Type::kText));
  c.node.type = Type::kDate;
  c.node.width = kDateWidth;
  c.node.fn.date = fn_stod;
  return Status::ok();
}

// DTOC(d, 1) and TTOC(t, 1) give the sortable forms of DTOS and TTOS.
Status sortable_form(Call& c, bool* sortable) {
  *sortable = false;
  if (c.node.argc < 2) return Status::ok();
  XB_TRY(c.expect(1, Type::kNumber));
  if (!c.is_const(1)) return c.type_error(1, "a constant 1");
  *sortable = c.const_number(1) == 1;
  return Status::ok();
}

Status bind_dtoc(Call& c) {
  XB_TRY(c.expect(0, Type::kDate));
  bool sortable = false;
  XB_TRY(sortable_form(c, &sortable));
  if (sortable)
    c.text_result(is_date_field(c, 0) ? fn_dtos_field : fn_dtos, kDateWidth, true);
  else
    c.text_result(fn_dtoc, c.program.date_picture.size(), true);
  c.node.fixed = true;
  return Status::ok();
}

Status bind_dtos(Call& c) {
  XB_TRY(c.expect(0, Type::kDate));
  c.text_result(is_date_field(c, 0) ? fn_dtos_field : fn_dtos, kDateWidth, true);
  c.node.fixed = true;
  return Status::ok();
}

template <Part P>
Status bind_part(Call& c) {
  XB_TRY(c.expect(0, Type::kDate));
  c.number_result(is_date_field(c, 0) ? fn_field_part<P> : fn_part<P>, 0);
  return Status::ok();
}

Status bind_dow(Call& c) {
  XB_TRY(c.expect(0, Type::kDate));
  c.number_result(fn_dow, 0);
  return Status::ok();
}

Status bind_name(Call& c, TextFn fn) {
  XB_TRY(c.expect(0, Type::kDate));
  c.text_result(fn, kNameWidth, false);
  return Status::ok();
}

Status bind_cdow(Call& c) { return bind_name(c, fn_cdow); }
Status bind_cmonth(Call& c) { return bind_name(c, fn_cmonth); }

Status bind_ttos(Call& c) {
  XB_TRY(c.expect(0, Type::kDateTime));
  c.text_result(fn_ttos, kTtosWidth, true);
  c.node.fixed = true;
  return Status::ok();
}

Status bind_ttoc(Call& c) {
  XB_TRY(c.expect(0, Type::kDateTime));
  bool sortable = false;
  XB_TRY(sortable_form(c, &sortable));
  if (sortable)
    c.text_result(fn_ttos, kTtosWidth, true);
  else
    c.text_result(fn_ttoc, c.program.date_picture.size() + kTimeWidth, true);
  c.node.fixed = true;
  return Status::ok();
}

constexpr FunctionDef kFunctions[] = {
    {"DATE", 0, 0, bind_date_fn},
    {"CTOD", 1, 1, bind_ctod},
    {"DTOC", 1, 2, bind_dtoc},
    {"DTOS", 1, 1, bind_dtos},
    {"STOD", 1, 1, bind_stod},
    {"YEAR", 1, 1, bind_part<Part::kYear>},
    {"MONTH", 1, 1, bind_part<Part::kMonth>},
    {"DAY", 1, 1, bind_part<Part::kDay>},
    {"DOW", 1, 1, bind_dow},
    {"CDOW", 1, 1, bind_cdow},
    {"CMONTH", 1, 1, bind_cmonth},
    {"TTOC", 1, 2, bind_ttoc},
    {"TTOS", 1, 1, bind_ttos},
};

}  // namespace

std::span<const FunctionDef> date_functions() { return kFunctions; }

}  // namespace xbase::expr
