// Conversions between the framework's values (date-times, numbers, Booleans,
// strings) and the fixed-width text of xBase fields, with the string helpers
// and default display formats the data sources, datasets and table
// definitions share.
//
// xBase text: dates are eight digits CCYYMMDD (eight blanks for no date),
// numbers are right-aligned with "." as the point, logicals one letter. The
// engine's date picture is VGEnv's DateFormat. None of these functions
// raises: a conversion that cannot be made gives 0, empty text or the blank
// date (0).
#pragma once

#include <cstdint>
#include <string>

#include "framework/dataset_state.h"
#include "framework/date_time.h"
#include "framework/string_list.h"
#include "framework/variant.h"
#include "vgxbase/xbase.h"  // the engine handle types

namespace vg {

// --- dates ---------------------------------------------------------------------

// Eight blanks for exactly 0, otherwise the date as YYYYMMDD (negative values too).
std::string DTOS(TDateTime D);
// Year (characters 1-4), month (5-6) and day (7-8) read leniently; 0 unless
// all three are non-zero and make a real date.
TDateTime STOD(const std::string& S);
// The date laid out by the engine with DateFormat.
std::string DTOC(TDateTime D);
// Text in the DateFormat picture to a date; 0 when it does not fit the picture
// (IsOfDateFormat), is blank or impossible. A two-digit year falls in the
// hundred years from VGEnv's EpochStart.
TDateTime CTOD(const std::string& S);
// Whether a typed text fits DateFormat: same length, literals where the
// picture has them, blanks, digits or "_" under C, D, M and Y; a blank, zero
// or all-underscore date fits; otherwise year, month and day must have two
// positions each and make a real date.
bool IsOfDateFormat(const std::string& S);

// "YYYYMMDDhh:mm:ss" (sixteen characters) to a date-time and back; year,
// month and day all 0 give 0.
TDateTime FoxDateTimeToHostDateTime(const std::string& S);
std::string HostDateTimeToFoxDateTime(TDateTime D);
// The engine's day number and the milliseconds since midnight (the two words
// of a FoxPro date-time field) to a date-time, and the parts back.
TDateTime DTLongToDateTime(int32_t DateLong, int32_t TimeLong);
int32_t DateTimeToDateLong(TDateTime D);
// Milliseconds since midnight, truncated (negative for negative values).
int32_t DateTimeToTimeLong(TDateTime D);
// Seconds since the epoch day, truncated.
int32_t DateTimeToSec(TDateTime D);
// Hour and minute as four digits, "0930".
std::string DateTimeToMTime(TDateTime D);
// Four-digit 24-hour time to 12-hour text: "1345" gives " 1:45 PM", "1200"
// gives "12:00 PM", and midnight "0030" gives " 0:30 AM" (not 12:30).
std::string MTimeToString(const std::string& S);
// Minutes to "%2d:%2.2d" hours and minutes, and back; without a ":" the
// minutes are the text's first two characters.
std::string MinutesToHourMin(int32_t N);
int32_t HourMinToMinutes(const std::string& S);
std::string DateTimeToTimeString(TDateTime D);

// --- numbers -------------------------------------------------------------------

// Value as xBase numeric text of width Len with Dec decimals ("." as the
// point, rounded, right-aligned); nothing is cut when it needs more room.
std::string FloatToXBase(double Value, int32_t Len, int32_t Dec);
// Field text to a number: a sign only before any digit or point, "." starts
// the fraction, everything else is ignored; no digits gives 0.
double xBaseToFloat(const std::string& S);
// Lenient integer: the first "+" or "-" anywhere is the sign ("12-" is -12),
// digits after the locale's decimal separator are dropped, everything else
// skipped; no digits or an overflow gives 0.
int32_t JStoI(const std::string& S);
// As xBaseToFloat, with the locale's decimal separator starting the fraction.
double JStrToFloat(const std::string& S);
// A typed number redisplayed at field width (the locale's decimal separator).
std::string ReformatNumericString(const std::string& S, int32_t Len, int32_t Dec);
// Blanks, "+", "-", digits, "_", the locale's thousands and decimal
// separators; at most one sign and one decimal separator. Empty is true.
bool IsNumericString(const std::string& S);
// The same without the decimal separator.
bool IsIntegerString(const std::string& S);
bool AllDigits(const std::string& S);
// X to the power N by repeated multiplication; 1 for N of 0 or below.
double Exponentiation(double X, int32_t N);

// --- strings and characters ----------------------------------------------------

// Only the blank (32) is trimmed; Trim trims the right side.
std::string LTrim(const std::string& S);
std::string Trim(const std::string& S);
std::string AllTrim(const std::string& S);
std::string Space(int32_t N);
std::string Replicate(char C, int32_t N);
// Blanks (LPad) or zeros (ZPad) in front up to length N; longer S unchanged.
std::string LPad(const std::string& S, int32_t N);
std::string ZPad(const std::string& S, int32_t N);
// S with blanks after it to length N, or its first N characters.
std::string Pad(const std::string& S, int32_t N);
// "(800) 555-1234"; seven digits give "(   ) 555-1234".
std::string FormatPhone(const std::string& S);
// Exactly N bytes at P, NULs included (empty for a null P or N below 1).
std::string StrPasN(const char* P, int32_t N);
// Every byte of S, NULs included, then a NUL; answers P.
char* StrPCopyBin(char* P, const std::string& S);
// "T" or "Y" in either case is true.
bool CharToBool(char C);
char BoolToChar(bool B);
// S without a final "/" unless S is the root "/".
std::string RemoveTrailingBackSlash(const std::string& S);
// OEM and ANSI conversions of the text up to its first NUL.
std::string VGOEMToAnsi(const std::string& S);
std::string VGAnsiToOEM(const std::string& S);
// The file name without folder and without everything from its first "." on;
// ExtractDBAlias also turns blanks into "_".
std::string ExtractFileAlias(const std::string& FileName);
std::string ExtractDBAlias(const std::string& FileName);
// Engine expression type code to a word ("String", "Date", "Logical",
// "Numeric", "Date Double", "Numeric Double"); "" for other codes.
std::string ExprTypeToString(int32_t T);
std::string DSStateToString(TDataSetState State);
bool IsVariantArray(const Variant& V);
// Whether `Field` of the table `Data` may hold null: its entry in the table's
// field information has the null flag word 190. (The engine's field handle
// does not lead back to its table, so the table is passed along.)
bool F4Nullable(DATA4* Data, FIELD4* Field);
// Whether the field's null flag is set.
bool F4NullFlagSet(FIELD4* Field);

// --- default formats for the framework's fields --------------------------------

// "#" and "0" pictures: Len 10, Dec 2 gives "######0.00".
std::string DefaultNumericDisplayFormat(int32_t Len, int32_t Dec);
std::string DefaultNumericEditFormat(int32_t Len, int32_t Dec);
// DateFormat with "C" (either case) shown as "Y".
std::string DefaultDateDisplayFormat();
// An edit mask for DateFormat: "MM/DD/CCYY" gives "!99/99/0000;1;_".
std::string DefaultDateEditMask();

// A string list filled by splitting InputString at a delimiter character
// (";" unless changed). Each piece is trimmed of blanks on both sides and
// added, empty ones between two delimiters too; the piece after the last
// delimiter only when it is not empty.
class TDelimStringList : public TStringList {
 public:
  TDelimStringList() = default;

  const std::string& InputString() const { return input_string_; }
  void SetInputString(const std::string& Value);
  // The splitting character (not the one of DelimitedText).
  char Delimiter() const { return delimiter_; }
  void SetDelimiter(char Value) { delimiter_ = Value; }

 private:
  std::string input_string_;
  char delimiter_ = ';';
};

}  // namespace vg
