// Date-times as the host keeps them: days since 1899-12-30, the time of day as the fraction.
#include <cctype>
#include <cmath>
#include <ctime>
#include <optional>
#include <string>

#include "host/exception.hpp"
#include "host/format_settings.hpp"
#include "host/sysutils.hpp"

namespace {

constexpr int kSecondsPerDay = 86400;

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's civil-day algorithm).
int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void CivilFromDays(int64_t z, int& year, int& month, int& day) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(static_cast<int64_t>(yoe) + era * 400 + (month <= 2));
}

const int64_t kEpochOffset = DaysFromCivil(1899, 12, 30);

bool IsLeap(int y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int DaysInMonth(int y, int m) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

std::string Pad(int value, size_t width) {
  std::string text = std::to_string(value);
  return text.size() >= width ? text : std::string(width - text.size(), '0') + text;
}

}  // namespace

std::optional<TDateTime> TryEncodeDate(int year, int month, int day) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month)) {
    return std::nullopt;
  }
  return static_cast<double>(DaysFromCivil(year, month, day) - kEpochOffset);
}

TDateTime EncodeDate(int year, int month, int day) {
  if (auto value = TryEncodeDate(year, month, day)) {
    return *value;
  }
  throw EConvertError("Invalid argument to date encode");
}

TDateTime UnixToDateTime(int64_t seconds) {
  constexpr int64_t kUnixEpochDay = 25569;  // 1970-01-01 in days since 1899-12-30
  return static_cast<double>(kUnixEpochDay) + static_cast<double>(seconds) / kSecondsPerDay;
}

TDateTime Now() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return EncodeDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) +
         EncodeTime(local.tm_hour, local.tm_min, local.tm_sec);
}

TDateTime EncodeTime(int hour, int minute, int second) {
  return (hour * 3600.0 + minute * 60.0 + second) / kSecondsPerDay;
}

TDateParts DecodeDateTime(TDateTime value) {
  // The fraction is the time of day also for dates before 1899-12-30 (-1.25 is 29/12 06:00).
  int64_t days = static_cast<int64_t>(std::trunc(value));
  int64_t seconds = std::llround(std::fabs(value - static_cast<double>(days)) * kSecondsPerDay);
  if (seconds >= kSecondsPerDay) {
    seconds -= kSecondsPerDay;
    days += value < 0 ? -1 : 1;
  }
  TDateParts parts;
  CivilFromDays(days + kEpochOffset, parts.year, parts.month, parts.day);
  parts.hour = static_cast<int>(seconds / 3600);
  parts.minute = static_cast<int>(seconds / 60 % 60);
  parts.second = static_cast<int>(seconds % 60);
  return parts;
}

std::string FormatDateTime(std::string_view pattern, TDateTime value) {
  const TDateParts p = DecodeDateTime(value);
  const TFormatSettings& fs = FormatSettings();
  std::string out;
  bool after_hour = false;  // "m" right after an hour means minutes, as in the host
  for (size_t i = 0; i < pattern.size();) {
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(pattern[i])));
    size_t run = 1;
    while (i + run < pattern.size() &&
           std::tolower(static_cast<unsigned char>(pattern[i + run])) == c) {
      ++run;
    }
    if (c == '"' || c == '\'') {
      const size_t end = pattern.find(pattern[i], i + 1);
      out += pattern.substr(i + 1, (end == std::string_view::npos ? pattern.size() : end) - i - 1);
      i = end == std::string_view::npos ? pattern.size() : end + 1;
      continue;
    }
    switch (c) {
      case 'y':
        out += run >= 3 ? Pad(p.year, 4) : Pad(p.year % 100, 2);
        break;
      case 'm':
        out += Pad(after_hour ? p.minute : p.month, run >= 2 ? 2 : 1);
        break;
      case 'd':
        out += Pad(p.day, run >= 2 ? 2 : 1);
        break;
      case 'h':
        out += Pad(p.hour, run >= 2 ? 2 : 1);
        break;
      case 'n':
        out += Pad(p.minute, run >= 2 ? 2 : 1);
        break;
      case 's':
        out += Pad(p.second, run >= 2 ? 2 : 1);
        break;
      case '/':
        out.append(run, fs.DateSeparator);
        break;
      case ':':
        out.append(run, fs.TimeSeparator);
        break;
      default:
        out.append(pattern.substr(i, run));
    }
    if (c != ':' && c != ' ') {
      after_hour = c == 'h';
    }
    i += run;
  }
  return out;
}
