// Calendar breakdown of a time value in UTC: proleptic Gregorian calendar, no time zone,
// no leap seconds. Pure arithmetic, no state, no allocation; any thread.
#ifndef VELDRAKE_PROP_MG_GMTIME64_S_H_
#define VELDRAKE_PROP_MG_GMTIME64_S_H_

#include <ctime>

// Days before month m, less one, for m = 0..11; entry 12 is the last day of the year.
// The names are published and hosts link against them as they are, although a leading
// underscore at global scope is a name the C++ implementation reserves for itself.
extern const int _days[13];    // common years
extern const int _lpdays[13];  // leap years

// Seconds from 1970-01-01T00:00:00 UTC to the device's reference instant, 2001-01-01.
constexpr double kSecondsFrom1970To2001 = 978307200.0;

// The dates the library gives a meaning to: up to this many seconds either side of 2001,
// some 285 million years. No device means a date beyond it, and within it every whole
// second is exact in a double, fits an int64 and lies in a year that fits an int, so
// every conversion of a date to integers stays defined.
constexpr double kDateLimitSeconds = 9.0e15;

// `secondsSince2001` moved to the nearer end of the range when it lies beyond; NaN, which
// no range holds, is returned as it is for the caller to give its own meaning.
double ClampToDateRange(double secondsSince2001);

// Fills *ptm from *timp, seconds since 1970-01-01T00:00:00 UTC. Always returns 0, and
// always leaves fields that strftime accepts, whatever the value: one beyond the date
// range (or NaN, taken as 1970) is broken down as the range's nearer end.
// REQUIRES: ptm and timp are not null.
int mg_gmtime64_s(struct tm* ptm, const double* timp);

#endif  // VELDRAKE_PROP_MG_GMTIME64_S_H_
