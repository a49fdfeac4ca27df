// Calendar breakdown of a time value in UTC: proleptic Gregorian calendar, no time zone,
// no leap seconds. Pure arithmetic, no state, no allocation; any thread.
#ifndef VELDRAKE_PROP_MG_GMTIME64_S_H_
#define VELDRAKE_PROP_MG_GMTIME64_S_H_

#include <ctime>

// Days before month m, less one, for m = 0..11; entry 12 is the last day of the year.
extern const int _days[13];    // common years
extern const int _lpdays[13];  // leap years

// Fills *ptm from *timp, seconds since 1970-01-01T00:00:00 UTC. Always returns 0, and
// always leaves fields that strftime accepts, whatever the value.
// REQUIRES: ptm and timp are not null.
int mg_gmtime64_s(struct tm* ptm, const double* timp);

#endif  // VELDRAKE_PROP_MG_GMTIME64_S_H_
