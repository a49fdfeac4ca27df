// Calendar breakdown in UTC by 365-day years with a leap-day correction.
//
// Two calendar methods on purpose. The year-count method is the one the library's dates
// have always come from, and its double arithmetic decides the fields of every date a
// device sends (some 0464..3476); it stays so that no exported date changes by a second.
// It cannot reach beyond that range, so a general day-count method (CivilFromDays) takes
// the rest, which no device writes but a hostile peer may.
#include "prop/mg_gmtime64_s.h"

#include <cmath>
#include <cstdint>

#include "Assert.h"

const int _days[13] = {-1, 30, 58, 89, 119, 150, 180, 211, 242, 272, 303, 333, 364};
const int _lpdays[13] = {-1, 30, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};

namespace {

const double kSecondsPerYear = 31536000.0;
const double kMinusSecondsPerDay = -86400.0;
const double kSecondsPerDay = 86400.0;
const double kSecondsPerHour = 3600.0;
const double kSecondsPerMinute = 60.0;

// The year-count method is exact from 0464-01-02T00:00:00 to 3476-12-30T23:59:59; past
// those ends its one backward step no longer suffices.
const double kExactFirst = -47524665600.0;
const double kExactLast = 47556287999.0;
const double kFirstSeconds = kSecondsFrom1970To2001 - kDateLimitSeconds;
const double kLastSeconds = kSecondsFrom1970To2001 + kDateLimitSeconds;

int FloorDiv(int a, int b) {
  int q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

bool IsLeapYearSince1900(int y) {
  return (y % 4 == 0 && y % 100 != 0) || (y + 1900) % 400 == 0;
}

// Days since 1970-01-01 to a civil date, valid for every day count in range (Howard
// Hinnant's algorithm); used only outside the exact range of the year-count method.
void CivilFromDays(int64_t z, int64_t* year, int* month, int* day) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  *day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  *month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  *year = yoe + era * 400 + (*month <= 2 ? 1 : 0);
}

void BreakDownAnyTime(struct tm* ptm, double t) {
  if (std::isnan(t)) t = 0.0;
  if (t < kFirstSeconds) t = kFirstSeconds;
  if (t > kLastSeconds) t = kLastSeconds;
  const double dayCount = std::floor(t / kSecondsPerDay);
  double r = t - dayCount * kSecondsPerDay;
  const int64_t z = static_cast<int64_t>(dayCount);
  int64_t year;
  int month, day;
  CivilFromDays(z, &year, &month, &day);
  const int y1900 = static_cast<int>(year - 1900);
  const int* table = IsLeapYearSince1900(y1900) ? _lpdays : _days;
  ptm->tm_year = y1900;
  ptm->tm_mon = month - 1;
  ptm->tm_mday = day;
  ptm->tm_yday = table[month - 1] + day;
  ptm->tm_wday = static_cast<int>(((z + 4) % 7 + 7) % 7);
  ptm->tm_hour = static_cast<int>(r / kSecondsPerHour);
  r -= ptm->tm_hour * kSecondsPerHour;
  ptm->tm_min = static_cast<int>(r / kSecondsPerMinute);
  r -= ptm->tm_min * kSecondsPerMinute;
  ptm->tm_sec = static_cast<int>(r);
  ptm->tm_isdst = 0;
}

}  // namespace

double ClampToDateRange(double secondsSince2001) {
  if (secondsSince2001 > kDateLimitSeconds) return kDateLimitSeconds;
  if (secondsSince2001 < -kDateLimitSeconds) return -kDateLimitSeconds;
  return secondsSince2001;
}

int mg_gmtime64_s(struct tm* ptm, const double* timp) {
  VELDRAKE_ASSERT(ptm);
  VELDRAKE_ASSERT(timp);

  ptm->tm_sec = ptm->tm_min = ptm->tm_hour = -1;
  ptm->tm_mday = ptm->tm_mon = ptm->tm_year = -1;
  ptm->tm_wday = ptm->tm_yday = ptm->tm_isdst = -1;

  const double t = *timp;
  // Device dates can be anything; outside the exact range (and for NaN or infinity) the
  // table scan below could leave its table, so those take the general computation.
  if (!(t >= kExactFirst && t <= kExactLast)) {
    BreakDownAnyTime(ptm, t);
    return 0;
  }

  const int y = static_cast<int>(t / kSecondsPerYear);
  const int leapDays = FloorDiv(y + 69, 4) - FloorDiv(y + 69, 100) + FloorDiv(y + 369, 400) - 17;
  double r = t - y * kSecondsPerYear + leapDays * kMinusSecondsPerDay;

  int year;
  if (r < 0) {
    r += kSecondsPerYear;
    year = y + 69;
    if (IsLeapYearSince1900(year)) r += kSecondsPerDay;
  } else {
    year = y + 70;
  }
  const int* table = IsLeapYearSince1900(year) ? _lpdays : _days;

  ptm->tm_year = year;
  const int d = static_cast<int>(r / kSecondsPerDay);
  ptm->tm_yday = d;

  int i = 1;
  while (i < 12 && table[i] < d) ++i;
  ptm->tm_mon = i - 1;
  ptm->tm_mday = d - table[i - 1];

  // Whole days counted downward, so that a moment on a day before 1970 gets that day's
  // weekday and not the next one's; the remainder is then moved into 0..6.
  int wday = (static_cast<int>(std::floor(t / kSecondsPerDay)) + 4) % 7;
  ptm->tm_wday = wday < 0 ? wday + 7 : wday;

  r -= d * kSecondsPerDay;
  ptm->tm_hour = static_cast<int>(r / kSecondsPerHour);
  r -= ptm->tm_hour * kSecondsPerHour;
  ptm->tm_min = static_cast<int>(r / kSecondsPerMinute);
  r -= ptm->tm_min * kSecondsPerMinute;
  ptm->tm_sec = static_cast<int>(r);

  ptm->tm_isdst = 0;
  return 0;
}
