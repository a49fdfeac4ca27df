// Date texts of the export formats.
//
// The library hands a contact's dates over as text in the form "%m-%d-%Y %H:%M:%S" (UTC)
// and a note's date as whole seconds since 2001-01-01 UTC. Exports want ISO 8601.
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_DATES_H_
#define VELDRAKE_HOST_DATES_H_

#include <cstdint>
#include <optional>
#include <string>

namespace host {

// The device's calendar year for a date without a year (a birthday of which only the
// day is known).
constexpr int kYearOmitted = 1604;

struct CivilDate {
  int64_t year = 0;
  int month = 0, day = 0;
};

// "05-17-1980 00:00:00" -> 1980-05-17. Nullopt for any other text.
std::optional<CivilDate> ParseDeviceDate(const std::string& text);

// "1980-05-17"; a year outside 0..9999 is written with as many digits (and sign) as it has.
std::string IsoDate(const CivilDate& date);

// The date part of a device date text as ISO 8601 ("--05-17" when the year is the
// device's year-omitted mark), or the text unchanged when it is not in the device's form.
std::string DeviceDateToIso(const std::string& text);

// Seconds since 2001-01-01 UTC -> "2023-04-05T06:07:08Z". Nullopt for -1 (no date).
std::optional<std::string> NoteDateToIso(int64_t deviceSeconds);

// Seconds since 1970-01-01 UTC -> "2023-04-05T06:07:08Z". Nullopt for INT64_MIN (unknown).
std::optional<std::string> UnixTimeToIso(int64_t seconds);

}  // namespace host

#endif  // VELDRAKE_HOST_DATES_H_
