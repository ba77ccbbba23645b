#include "values/Vgfunc.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "engine/Vgglobal.h"
#include "engine_api/engine_api.h"
#include "framework/format_settings.h"
#include "framework/oem_ansi.h"
#include "framework/sys_utils.h"

namespace vg {

namespace {

// The engine, through the components' one door to it.
engine_api::EngineCalls& engine() { return engine_api::calls(); }

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Pascal's Copy: `count` characters from 1-based `index`, clipped to the text.
std::string copy(const std::string& s, int64_t index, int64_t count) {
  if (index < 1) index = 1;
  if (count <= 0 || index > static_cast<int64_t>(s.size())) return std::string();
  return s.substr(static_cast<size_t>(index - 1), static_cast<size_t>(count));
}

const std::string& date_format() { return VGEnv->DateFormat(); }

// Year, month and day encoded, or 0 when they make no date.
TDateTime encode_or_zero(int year, int month, int day) {
  TDateTime d = 0;
  return TryEncodeDate(year, month, day, d) ? d : 0;
}

// Sign, integer digits and fraction digits of a number typed or stored as
// text; `point` starts the fraction. Then the locale's reading of them.
double scan_float(const std::string& s, char point) {
  char sign = '\0';
  bool seen_digit_or_point = false;
  bool in_fraction = false;
  std::string integer, fraction;
  for (char c : s) {
    if ((c == '+' || c == '-') && sign == '\0' && !seen_digit_or_point) {
      sign = c;
    } else if (c == point && !in_fraction) {
      in_fraction = true;
      seen_digit_or_point = true;
    } else if (is_digit(c)) {
      (in_fraction ? fraction : integer) += c;
      seen_digit_or_point = true;
    }
  }
  std::string text;
  if (sign != '\0') text += sign;
  text += integer;
  text += FormatSettings().DecimalSeparator;
  text += fraction;
  double value = 0;
  return TryStrToFloat(text, value) ? value : 0;
}

int64_t truncate_to_int64(double value) {
  if (!std::isfinite(value)) return 0;
  if (value >= 9.2e18) return INT64_MAX;
  if (value <= -9.2e18) return INT64_MIN;
  return static_cast<int64_t>(value);
}

}  // namespace

// --- dates ---------------------------------------------------------------------

std::string DTOS(TDateTime D) {
  if (D == 0) return std::string(8, ' ');
  return FormatDateTime("YYYYMMDD", D);
}

TDateTime STOD(const std::string& S) {
  const int year = JStoI(copy(S, 1, 4));
  const int month = JStoI(copy(S, 5, 2));
  const int day = JStoI(copy(S, 7, 2));
  if (year == 0 || month == 0 || day == 0) return 0;
  return encode_or_zero(year, month, day);
}

std::string DTOC(TDateTime D) {
  const std::string picture = engine_api::engine_text(date_format());
  std::vector<char> result(picture.size() + 16, '\0');
  engine().date4format(DTOS(D).c_str(), result.data(), picture.c_str());
  return result.data();
}

TDateTime CTOD(const std::string& S) {
  if (!IsOfDateFormat(S)) return 0;
  const std::string& picture = date_format();
  char date[9] = {};
  engine().date4init(date, engine_api::engine_text(S).c_str(),
                     engine_api::engine_text(picture).c_str());
  const int month = engine().date4month(date);
  const int day = engine().date4day(date);
  int year = engine().date4year(date);
  if (month == 0 && day == 0) return 0;
  if (picture.find('C') == std::string::npos) {
    // A two-digit year. The engine reads it as 19YY; the window below is
    // meant for a year read in the current century, so put it there first.
    const bool after_2000 = Date() >= EncodeDate(2000, 1, 1);
    year = (after_2000 ? 2000 : 1900) + year % 100;
    const int epoch = VGEnv->EpochStart();
    if (after_2000 && year - 100 >= epoch && year >= 1) year -= 100;
    if (!after_2000 && year < epoch && year >= 1) year += 100;
  }
  return encode_or_zero(year, month, day);
}

bool IsOfDateFormat(const std::string& S) {
  const std::string& picture = date_format();
  if (S.size() != picture.size()) return false;
  std::string century, year, month, day;
  int century_positions = 0, year_positions = 0, month_positions = 0, day_positions = 0;
  bool any_significant_digit = false;
  for (size_t i = 0; i < picture.size(); ++i) {
    const char p = picture[i];
    const char c = S[i];
    if (p != 'C' && p != 'D' && p != 'M' && p != 'Y') {
      if (c != p) return false;
      continue;
    }
    if (c != ' ' && c != '_' && !is_digit(c)) return false;
    if (c >= '1' && c <= '9') any_significant_digit = true;
    // A blank or underscore stays in the part as the placeholder it is, so
    // a half-typed date makes no day number below.
    switch (p) {
      case 'C': century += c, ++century_positions; break;
      case 'Y': year += c, ++year_positions; break;
      case 'M': month += c, ++month_positions; break;
      default: day += c, ++day_positions; break;
    }
  }
  if (!any_significant_digit) return true;
  if (year_positions != 2 || month_positions != 2 || day_positions != 2) return false;
  if (century_positions != 2)
    century = JStoI(year) + 1900 >= static_cast<int>(VGEnv->EpochStart()) ? "19" : "20";
  return engine().date4long((century + year + month + day).c_str()) >= 0;
}

TDateTime FoxDateTimeToHostDateTime(const std::string& S) {
  const int year = JStoI(copy(S, 1, 4));
  const int month = JStoI(copy(S, 5, 2));
  const int day = JStoI(copy(S, 7, 2));
  if (year == 0 && month == 0 && day == 0) return 0;
  TDateTime date = 0, time = 0;
  if (!TryEncodeDate(year, month, day, date) ||
      !TryEncodeTime(JStoI(copy(S, 9, 2)), JStoI(copy(S, 12, 2)), JStoI(copy(S, 15, 2)), 0, time))
    return 0;
  return date + time;
}

std::string HostDateTimeToFoxDateTime(TDateTime D) {
  int hour = 0, min = 0, sec = 0, msec = 0;
  DecodeTime(D, hour, min, sec, msec);
  return DTOS(D) + Format("%2.2d:%2.2d:%2.2d", hour, min, sec);
}

TDateTime DTLongToDateTime(int32_t DateLong, int32_t TimeLong) {
  char date[9] = {};
  engine().date4assign(date, DateLong);
  const int year = engine().date4year(date);
  const int month = engine().date4month(date);
  const int day = engine().date4day(date);
  if (year == 0 && month == 0 && day == 0) return 0;
  const int32_t hour = TimeLong / 3600000;
  int32_t rest = TimeLong % 3600000;
  const int32_t min = rest / 60000;
  rest %= 60000;
  const int32_t sec = rest / 1000;
  const int32_t msec = rest % 1000;
  TDateTime d = 0, t = 0;
  if (!TryEncodeDate(year, month, day, d) || !TryEncodeTime(hour, min, sec, msec, t)) return 0;
  return d + t;
}

int32_t DateTimeToDateLong(TDateTime D) { return engine().date4long(DTOS(D).c_str()); }

int32_t DateTimeToTimeLong(TDateTime D) {
  if (!std::isfinite(D)) return 0;
  return static_cast<int32_t>(truncate_to_int64((D - std::trunc(D)) * kMSecsPerDay));
}

int32_t DateTimeToSec(TDateTime D) {
  // Wider values wrap around, as an integer assignment of them would.
  return static_cast<int32_t>(
      static_cast<uint32_t>(static_cast<uint64_t>(truncate_to_int64(D * 24 * 60 * 60))));
}

std::string DateTimeToMTime(TDateTime D) {
  int hour = 0, min = 0, sec = 0, msec = 0;
  DecodeTime(D, hour, min, sec, msec);
  return Format("%2.2d%2.2d", hour, min);
}

std::string MTimeToString(const std::string& S) {
  const int hour = JStoI(copy(S, 1, 2));
  std::string hour_text, am_pm;
  // One test after the other: for hour 0 the second overrides the first.
  if (hour == 0) hour_text = "12", am_pm = "AM";
  if (hour < 12) hour_text = Format("%2d", hour), am_pm = "AM";
  if (hour == 12) hour_text = "12", am_pm = "PM";
  if (hour > 12) hour_text = Format("%2d", hour - 12), am_pm = "PM";
  return hour_text + ":" + copy(S, 3, 2) + " " + am_pm;
}

std::string MinutesToHourMin(int32_t N) { return Format("%2d:%2.2d", N / 60, N % 60); }

int32_t HourMinToMinutes(const std::string& S) {
  const size_t colon = S.find(':');
  const int64_t p = colon == std::string::npos ? 0 : static_cast<int64_t>(colon) + 1;
  const int64_t minutes =
      static_cast<int64_t>(JStoI(copy(S, 1, p - 1))) * 60 + JStoI(copy(S, p + 1, 2));
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(minutes)));
}

std::string DateTimeToTimeString(TDateTime D) { return MTimeToString(DateTimeToMTime(D)); }

// --- numbers -------------------------------------------------------------------

std::string FloatToXBase(double Value, int32_t Len, int32_t Dec) {
  const std::string formatted = Format("%*.*f", Len < 0 ? 0 : Len, Dec < 0 ? 0 : Dec, Value);
  const char point = FormatSettings().DecimalSeparator;
  char sign = '\0';
  bool in_fraction = false;
  std::string integer, fraction;
  for (char c : formatted) {
    if (c == point) in_fraction = true;
    else if ((c == '+' || c == '-') && sign == '\0') sign = c;
    else if (is_digit(c)) (in_fraction ? fraction : integer) += c;
  }
  if (integer.empty()) integer = "0";
  if (sign == '-') integer.insert(integer.begin(), '-');
  if (Dec > 0) {
    if (static_cast<int64_t>(fraction.size()) < Dec)
      fraction.append(static_cast<size_t>(Dec) - fraction.size(), '0');
    return LPad(integer, Len - Dec - 1) + "." + fraction;
  }
  return LPad(integer, Len);
}

double xBaseToFloat(const std::string& S) { return scan_float(S, '.'); }

int32_t JStoI(const std::string& S) {
  const char point = FormatSettings().DecimalSeparator;
  char sign = '\0';
  bool in_fraction = false;
  std::string digits;
  for (char c : S) {
    if ((c == '+' || c == '-') && sign == '\0') sign = c;
    else if (c == point) in_fraction = true;
    else if (is_digit(c) && !in_fraction) digits += c;
  }
  if (digits.empty()) return 0;
  int32_t value = 0;
  return TryStrToInt(sign == '\0' ? digits : sign + digits, value) ? value : 0;
}

double JStrToFloat(const std::string& S) {
  return scan_float(S, FormatSettings().DecimalSeparator);
}

std::string ReformatNumericString(const std::string& S, int32_t Len, int32_t Dec) {
  const size_t first = S.find_first_not_of(' ');
  const bool negative = first != std::string::npos && S[first] == '-';
  const double value = JStrToFloat(S);
  if (value == 0 && negative) {
    if (Dec > 0) return Space(Len - Dec - 3) + "-0." + Replicate('0', Dec);
    return Space(Len - 1) + "0";
  }
  if (Dec > 0) return Format("%*.*f", Len < 0 ? 0 : Len, Dec, value);
  return Format("%*lld", Len < 0 ? 0 : Len, static_cast<long long>(truncate_to_int64(value)));
}

namespace {
bool numeric_text(const std::string& s, bool allow_point) {
  const TFormatSettings& fs = FormatSettings();
  int signs = 0, points = 0;
  for (char c : s) {
    if (c == '+' || c == '-') {
      ++signs;
    } else if (allow_point && c == fs.DecimalSeparator) {
      ++points;
    } else if (!(c == ' ' || is_digit(c) || c == '_' || c == fs.ThousandSeparator)) {
      return false;
    }
  }
  return signs <= 1 && points <= 1;
}
}  // namespace

bool IsNumericString(const std::string& S) { return numeric_text(S, true); }
bool IsIntegerString(const std::string& S) { return numeric_text(S, false); }

bool AllDigits(const std::string& S) {
  for (char c : S)
    if (!is_digit(c)) return false;
  return true;
}

double Exponentiation(double X, int32_t N) {
  double result = 1;
  for (int32_t i = 0; i < N; ++i) result *= X;
  return result;
}

// --- strings and characters ----------------------------------------------------

std::string LTrim(const std::string& S) {
  const size_t first = S.find_first_not_of(' ');
  return first == std::string::npos ? std::string() : S.substr(first);
}

std::string Trim(const std::string& S) {
  const size_t last = S.find_last_not_of(' ');
  return last == std::string::npos ? std::string() : S.substr(0, last + 1);
}

std::string AllTrim(const std::string& S) { return Trim(LTrim(S)); }

std::string Space(int32_t N) {
  return N < 1 ? std::string() : std::string(static_cast<size_t>(N), ' ');
}

std::string Replicate(char C, int32_t N) {
  return N < 1 ? std::string() : std::string(static_cast<size_t>(N), C);
}

std::string LPad(const std::string& S, int32_t N) {
  if (static_cast<int64_t>(S.size()) >= N) return S;
  return Space(N - static_cast<int32_t>(S.size())) + S;
}

std::string ZPad(const std::string& S, int32_t N) {
  if (static_cast<int64_t>(S.size()) >= N) return S;
  return Replicate('0', N - static_cast<int32_t>(S.size())) + S;
}

std::string Pad(const std::string& S, int32_t N) {
  if (N < 1) return std::string();
  if (static_cast<int64_t>(S.size()) >= N) return S.substr(0, static_cast<size_t>(N));
  return S + Space(N - static_cast<int32_t>(S.size()));
}

std::string FormatPhone(const std::string& S) {
  std::string digits;
  for (char c : S)
    if (is_digit(c)) digits += c;
  if (digits.size() == 7) return "(   ) " + digits.substr(0, 3) + "-" + digits.substr(3, 4);
  auto part = [&](size_t from, int32_t width) {
    const std::string piece =
        from < digits.size() ? digits.substr(from, static_cast<size_t>(width)) : "";
    return piece + Space(width - static_cast<int32_t>(piece.size()));
  };
  return "(" + part(0, 3) + ") " + part(3, 3) + "-" + part(6, 4);
}

std::string StrPasN(const char* P, int32_t N) {
  if (P == nullptr || N < 1) return std::string();
  return std::string(P, static_cast<size_t>(N));
}

char* StrPCopyBin(char* P, const std::string& S) {
  if (P == nullptr) return P;
  std::memcpy(P, S.data(), S.size());
  P[S.size()] = '\0';
  return P;
}

bool CharToBool(char C) {
  const char u = AnsiUpperChar(C);
  return u == 'T' || u == 'Y';
}

char BoolToChar(bool B) { return B ? 'T' : 'F'; }

std::string RemoveTrailingBackSlash(const std::string& S) {
  if (S.empty() || S.back() != kPathDelim || S.size() == 1) return S;
  return S.substr(0, S.size() - 1);
}

std::string VGOEMToAnsi(const std::string& S) {
  if (S.empty()) return std::string();
  std::string buffer(S.c_str());  // the text up to its first NUL
  OemToCharA(buffer.c_str(), buffer.data());
  return buffer;
}

std::string VGAnsiToOEM(const std::string& S) {
  if (S.empty()) return std::string();
  std::string buffer(S.c_str());
  CharToOemA(buffer.c_str(), buffer.data());
  return buffer;
}

std::string ExtractFileAlias(const std::string& FileName) {
  const std::string name = ExtractFileName(FileName);
  const size_t dot = name.find('.');
  return dot == std::string::npos ? name : name.substr(0, dot);
}

std::string ExtractDBAlias(const std::string& FileName) {
  std::string alias = ExtractFileAlias(FileName);
  for (char& c : alias)
    if (c == ' ') c = '_';
  return alias;
}

std::string ExprTypeToString(int32_t T) {
  switch (T) {
    case 67: return "String";
    case 68: return "Date";
    case 76: return "Logical";
    case 78: return "Numeric";
    case 100: return "Date Double";
    case 110: return "Numeric Double";
    default: return std::string();
  }
}

std::string DSStateToString(TDataSetState State) {
  switch (State) {
    case dsInactive: return "dsInactive";
    case dsBrowse: return "dsBrowse";
    case dsEdit: return "dsEdit";
    case dsInsert: return "dsInsert";
    case dsSetKey: return "dsSetKey";
    case dsCalcFields: return "dsCalcFields";
    case dsFilter: return "dsFilter";
    case dsNewValue: return "dsNewValue";
    case dsOldValue: return "dsOldValue";
    case dsCurValue: return "dsCurValue";
    default: return std::string();
  }
}

bool IsVariantArray(const Variant& V) { return VarArrayDimCount(V) > 0; }

bool F4Nullable(DATA4* Data, FIELD4* Field) {
  if (Data == nullptr || Field == nullptr) return false;
  const char* name = engine().f4name(Field);
  if (name == nullptr) return false;
  engine_api::FieldInfoArray info = engine_api::field_info(Data);
  if (!info) return false;
  for (const FIELD4INFO* f = info.get(); f->name != nullptr; ++f)
    if (SameText(f->name, name)) return f->nulls == 190;
  return false;
}

bool F4NullFlagSet(FIELD4* Field) { return Field != nullptr && engine().f4null(Field) != 0; }

// --- default formats -----------------------------------------------------------

std::string DefaultNumericDisplayFormat(int32_t Len, int32_t Dec) {
  if (Dec < 1) return Replicate('#', Len - 1) + "0";
  return Replicate('#', Len - Dec - 2) + "0." + Replicate('0', Dec);
}

std::string DefaultNumericEditFormat(int32_t Len, int32_t Dec) {
  return DefaultNumericDisplayFormat(Len, Dec);
}

std::string DefaultDateDisplayFormat() {
  std::string format = date_format();
  for (char& c : format)
    if (c == 'C' || c == 'c') c = 'Y';
  return format;
}

std::string DefaultDateEditMask() {
  const char separator = FormatSettings().DateSeparator;
  std::string mask = "!";
  for (char c : UpperCase(date_format())) {
    if (c == 'C' || c == 'Y') mask += '0';
    else if (c == 'D' || c == 'M') mask += '9';
    else if (c == separator) mask += '/';
  }
  return mask + ";1;_";
}

void TDelimStringList::SetInputString(const std::string& Value) {
  input_string_ = Value;
  BeginUpdate();
  Clear();
  size_t from = 0;
  while (true) {
    const size_t at = Value.find(delimiter_, from);
    if (at == std::string::npos) break;
    Add(AllTrim(Value.substr(from, at - from)));
    from = at + 1;
  }
  if (from < Value.size()) Add(AllTrim(Value.substr(from)));
  EndUpdate();
}

}  // namespace vg
