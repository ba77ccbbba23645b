// Text, number and file-name helpers the components share. Numbers are read
// and written with the locale's separators (format_settings.h); upper- and
// lower-casing of "Ansi" text follows the Western (1252) character set.
#pragma once

#include <cstdint>
#include <string>

namespace vg {

inline constexpr char kPathDelim = '/';

// --- numbers -----------------------------------------------------------------

std::string IntToStr(int64_t value);
// Optional leading blanks, an optional sign, then decimal digits (or "$" or
// "0x" and hex digits) to the end of the text; the Try forms answer false,
// the others raise EConvertError "'text' is not a valid integer value".
bool TryStrToInt(const std::string& text, int32_t& value);
bool TryStrToInt64(const std::string& text, int64_t& value);
int32_t StrToInt(const std::string& text);
int64_t StrToInt64(const std::string& text);
int32_t StrToIntDef(const std::string& text, int32_t fallback);

// Shortest text of at most 15 significant digits with the locale's decimal
// separator; exponent form ("1.5E20") only when fixed notation would need
// more digits.
std::string FloatToStr(double value);
// Optional blanks, sign, digits with the locale's decimal separator, optional
// exponent, optional blanks. StrToFloat raises EConvertError
// "'text' is not a valid floating point value".
bool TryStrToFloat(const std::string& text, double& value);
double StrToFloat(const std::string& text);
double StrToFloatDef(const std::string& text, double fallback);

enum TFloatFormat { ffGeneral, ffExponent, ffFixed, ffNumber, ffCurrency };
// Rounding is half away from zero. ffFixed: `digits` decimals; ffNumber: the same with thousands
// separators; ffExponent: `precision` significant digits and at least `digits` exponent digits;
// ffCurrency: the locale's currency layout; ffGeneral: as FloatToStr with `precision` significant
// digits.
std::string FloatToStrF(double value, TFloatFormat format, int precision, int digits);

// printf-style formatting. Floating conversions follow the framework rather
// than C: %f rounds half away from zero (2.5 with %.0f is "3"; the precision
// defaults to 2), %e shows at least three exponent digits ("1.5E+003"), %g is
// FloatToStr's shortest form; their point is the locale's decimal separator
// and their width pads with blanks.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

// --- text --------------------------------------------------------------------

// Case mapping of ASCII letters only.
std::string UpperCase(const std::string& text);
std::string LowerCase(const std::string& text);
// Case mapping of the Western character set: ASCII letters, the accented
// letters from 0xC0 on (not 0xD7, 0xF7, 0xDF), and the pairs S/Z/OE with caron
// or ligature at 0x8A/0x9A, 0x8E/0x9E, 0x8C/0x9C, and y diaeresis 0x9F/0xFF.
std::string AnsiUpperCase(const std::string& text);
std::string AnsiLowerCase(const std::string& text);
char AnsiUpperChar(char c);
char AnsiLowerChar(char c);

// Comparisons: negative, 0, positive. The "Text" forms ignore case (ASCII
// for CompareText, the Western set for AnsiCompareText); all compare by byte.
int CompareStr(const std::string& a, const std::string& b);
int CompareText(const std::string& a, const std::string& b);
bool SameText(const std::string& a, const std::string& b);
int AnsiCompareStr(const std::string& a, const std::string& b);
int AnsiCompareText(const std::string& a, const std::string& b);
bool AnsiSameText(const std::string& a, const std::string& b);

// Removal of leading and/or trailing blanks and control characters (every
// byte up to and including the blank).
std::string TrimWhite(const std::string& text);
std::string TrimLeftWhite(const std::string& text);
std::string TrimRightWhite(const std::string& text);

// `quote` + text with each quote doubled + `quote`.
std::string AnsiQuotedStr(const std::string& text, char quote);
std::string QuotedStr(const std::string& text);
// Reads a quoted text starting at text[pos] (which must be `quote`): doubled
// quotes stand for one; stops after the closing quote or at the end. `pos` is
// left after what was read. Text not starting with the quote gives "".
std::string AnsiExtractQuotedStr(const std::string& text, size_t& pos, char quote);

enum TReplaceFlag : unsigned { rfReplaceAll = 1, rfIgnoreCase = 2 };
std::string StringReplace(const std::string& text, const std::string& old_pattern,
                          const std::string& new_pattern, unsigned flags);

// --- file names --------------------------------------------------------------

// The part after the last "/".
std::string ExtractFileName(const std::string& file_name);
// The part up to and including the last "/"; "" without one.
std::string ExtractFilePath(const std::string& file_name);
// The folder without its final "/" (the root keeps it).
std::string ExtractFileDir(const std::string& file_name);
// From the last "." of the file name on, the dot included; "" without one.
std::string ExtractFileExt(const std::string& file_name);
// `extension` (with its dot, or "" to drop it) in place of the current one.
std::string ChangeFileExt(const std::string& file_name, const std::string& extension);
std::string IncludeTrailingPathDelimiter(const std::string& path);
std::string ExcludeTrailingPathDelimiter(const std::string& path);
// The absolute form of `file_name` against the current folder, with "." and
// ".." steps resolved by name.
std::string ExpandFileName(const std::string& file_name);
bool FileExists(const std::string& file_name);
bool DirectoryExists(const std::string& path);
bool DeleteFile(const std::string& file_name);
bool RenameFile(const std::string& old_name, const std::string& new_name);
std::string GetCurrentDir();

// The running program's file (from /proc/self/exe) and its folder with a
// trailing "/". Empty when the system does not say.
std::string ExecutableFileName();
std::string ExecutableFolder();

}  // namespace vg
