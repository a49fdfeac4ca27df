// Calendar arithmetic for the loaders: civil dates and ISO 8601 texts to seconds since
// 2001-01-01 UTC, the reference instant of every date on the device.
#ifndef DEVICESIM_SRC_CALENDAR_H_
#define DEVICESIM_SRC_CALENDAR_H_

#include <string>

namespace devicesim {

// Seconds since 2001-01-01 00:00:00 UTC of a proleptic Gregorian date and time (UTC).
double SecondsSince2001(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);

// The vCard date forms: YYYY-MM-DD, YYYYMMDD, --MMDD, --MM-DD, MM-DD (a yearless date
// takes the year 1604, as the device's address book does), optionally followed by
// "T" and a time (HH[:]MM[:]SS[.fff]) and Z or a +/-HH[:]MM offset. False for anything
// else, impossible dates included.
bool ParseVCardDate(const std::string& text, double* seconds);

// ISO 8601 UTC texts for notes: YYYY-MM-DD with an optional time and zone, as above.
bool ParseIsoDate(const std::string& text, double* seconds);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_CALENDAR_H_
