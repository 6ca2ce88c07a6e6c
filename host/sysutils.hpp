// Text, number and date helpers of the host runtime: picture-pattern formatting, conversions
// with defaults, and the date-time representation shared by host and module.
//
// Date-times are doubles counting days since 1899-12-30, with the time of day as the fraction.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/export.hpp"

using TDateTime = double;

// Formats a number with a picture pattern ("#,##0.00", "###0.00", "#0.##", "#,##0"):
// "0" a mandatory digit, "#" an optional digit, "," in the integer part switches on thousands
// grouping, "." marks the decimal separator. The value is taken to 15 significant digits and
// then rounded half away from zero to the pattern's decimals; a value that rounds to zero has
// no minus sign. The output uses the current locale's separators.
NRW_API std::string FormatFloat(std::string_view pattern, double value);

// Formats a date-time with d, dd, m, mm, yy, yyyy, h, hh, n, nn, s, ss; "/" and ":" print the
// locale's separators; text in quotes is copied as it stands.
NRW_API std::string FormatDateTime(std::string_view pattern, TDateTime value);

NRW_API TDateTime EncodeDate(int year, int month, int day);
// The local date and time.
NRW_API TDateTime Now();
// A Unix time (seconds since 1970-01-01 UTC) as a date-time, in UTC.
NRW_API TDateTime UnixToDateTime(int64_t seconds);
NRW_API TDateTime EncodeTime(int hour, int minute, int second);
NRW_API std::optional<TDateTime> TryEncodeDate(int year, int month, int day);
struct NRW_API TDateParts {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};
// Splits a date-time into calendar parts, the time rounded to the nearest second.
NRW_API TDateParts DecodeDateTime(TDateTime value);

// Conversions that never fail: an unreadable text gives the default.
NRW_API int32_t StrToIntDef(std::string_view text, int32_t default_value);
NRW_API double StrToFloatDef(std::string_view text, double default_value);
NRW_API TDateTime StrToDateDef(std::string_view text, TDateTime default_value);
NRW_API std::optional<int32_t> TryStrToInt(std::string_view text);
NRW_API std::optional<double> TryStrToFloat(std::string_view text);
// Parses a date in the user's short date format; day and month may have one digit.
NRW_API std::optional<TDateTime> TryStrToDate(std::string_view text);

// Strict conversion: raises EConvertError "'abc' is not a valid integer value".
NRW_API int32_t StrToInt(std::string_view text);

NRW_API std::string IntToStr(int64_t value);
// Upper-case hexadecimal, zero-padded to at least `digits` digits.
NRW_API std::string IntToHex(uint32_t value, int digits);
// Removes leading and trailing blanks and control characters (every byte up to ' ').
NRW_API std::string Trim(std::string_view text);
// Upper case by the user's locale rules: ASCII and the accented Latin letters, in UTF-8.
NRW_API std::string AnsiUpperCase(std::string_view text);
// AnsiUpperCase(a) compared with AnsiUpperCase(b) (negative, zero, positive), without copies.
NRW_API int CompareUpperCase(std::string_view a, std::string_view b);
// Case-insensitive comparison of ASCII names (field and parameter names).
NRW_API bool SameText(std::string_view a, std::string_view b);
// True when `needle` occurs in `haystack`, ignoring the case of ASCII and Latin letters.
NRW_API bool ContainsText(std::string_view haystack, std::string_view needle);
