// The device's date texts read, and written as ISO dates and vCard forms.
#include "Dates.h"

#include <cstdio>
#include <limits>

namespace host {
namespace {

// Reads `count` digits at `pos` (count 0: one or more).
bool Digits(const std::string& text, size_t& pos, size_t count, int64_t* out) {
  const size_t start = pos;
  int64_t value = 0;
  while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9' &&
         (count == 0 || pos - start < count)) {
    if (value > std::numeric_limits<int64_t>::max() / 10 - 10) return false;
    value = value * 10 + (text[pos++] - '0');
  }
  if (pos == start || (count != 0 && pos - start != count)) return false;
  *out = value;
  return true;
}

bool Char(const std::string& text, size_t& pos, char c) {
  if (pos >= text.size() || text[pos] != c) return false;
  ++pos;
  return true;
}

// Days since 1970-01-01 to a proleptic Gregorian date (Howard Hinnant's algorithm).
CivilDate FromDays(int64_t z) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  CivilDate date;
  date.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  date.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  date.year = yoe + era * 400 + (date.month <= 2 ? 1 : 0);
  return date;
}

}  // namespace

std::optional<CivilDate> ParseDeviceDate(const std::string& text) {
  size_t pos = 0;
  int64_t month, day, year, hour, minute, second;
  bool negative = false;
  if (!Digits(text, pos, 2, &month) || !Char(text, pos, '-') || !Digits(text, pos, 2, &day) ||
      !Char(text, pos, '-'))
    return std::nullopt;
  if (pos < text.size() && text[pos] == '-') negative = true, ++pos;
  if (!Digits(text, pos, 0, &year) || !Char(text, pos, ' ') || !Digits(text, pos, 2, &hour) ||
      !Char(text, pos, ':') || !Digits(text, pos, 2, &minute) || !Char(text, pos, ':') ||
      !Digits(text, pos, 2, &second) || pos != text.size())
    return std::nullopt;
  if (month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
  return CivilDate{negative ? -year : year, static_cast<int>(month), static_cast<int>(day)};
}

std::string IsoDate(const CivilDate& date) {
  char buffer[64];
  if (date.year >= 0 && date.year <= 9999) {
    std::snprintf(buffer, sizeof buffer, "%04lld-%02d-%02d", static_cast<long long>(date.year),
                  date.month, date.day);
  } else {
    std::snprintf(buffer, sizeof buffer, "%+lld-%02d-%02d", static_cast<long long>(date.year),
                  date.month, date.day);
  }
  return buffer;
}

std::string DeviceDateToIso(const std::string& text) {
  std::optional<CivilDate> date = ParseDeviceDate(text);
  if (!date) return text;
  // ISO 8601's form of a date without a year.
  if (date->year == kYearOmitted) return IsoDate(*date).replace(0, 4, "-");
  return IsoDate(*date);
}

namespace {

// "YYYY-MM-DDTHH:MM:SSZ" for whole seconds after the start of day `epochDay` of 1970.
std::string IsoDateTime(int64_t epochDay, int64_t seconds) {
  // Whole days and the second of the day, so no sum can overflow.
  int64_t days = seconds / 86400;
  int64_t secondOfDay = seconds % 86400;
  if (secondOfDay < 0) secondOfDay += 86400, --days;
  const CivilDate date = FromDays(days + epochDay);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "T%02d:%02d:%02dZ", static_cast<int>(secondOfDay / 3600),
                static_cast<int>(secondOfDay / 60 % 60), static_cast<int>(secondOfDay % 60));
  return IsoDate(date) + buffer;
}

}  // namespace

std::optional<std::string> NoteDateToIso(int64_t deviceSeconds) {
  if (deviceSeconds == -1) return std::nullopt;
  return IsoDateTime(11323, deviceSeconds);  // 2001-01-01 is day 11323 of 1970
}

std::optional<std::string> UnixTimeToIso(int64_t seconds) {
  if (seconds == std::numeric_limits<int64_t>::min()) return std::nullopt;
  return IsoDateTime(0, seconds);
}

}  // namespace host
