// mg_gmtime64_s against the C library's gmtime_r, which serves as the oracle.
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <random>
#include <string>

#include "prop/mg_gmtime64_s.h"

namespace {

const long long kExactFirst = -47524665600;  // 0464-01-02T00:00:00
const long long kExactLast = 47556287999;    // 3476-12-30T23:59:59

// Every field that strftime or a caller could look at.
std::string Fields(const struct tm& t) {
  char text[96];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S yday %j wday %w", &t);
  return text + std::string(" dst ") + std::to_string(t.tm_isdst);
}

void ExpectSameAsGmtime(double t) {
  struct tm got, want;
  mg_gmtime64_s(&got, &t);
  const time_t whole = static_cast<time_t>(std::floor(t));
  ASSERT_NE(gmtime_r(&whole, &want), nullptr) << t;
  EXPECT_EQ(Fields(got), Fields(want)) << "t=" << t;
}

// Seconds since 1970 of a UTC midnight, through the C library.
double Utc(int year, int mon, int mday) {
  struct tm parts = {};
  parts.tm_year = year - 1900;
  parts.tm_mon = mon - 1;
  parts.tm_mday = mday;
  return static_cast<double>(timegm(&parts));
}

TEST(MgGmtime, AgreesWithGmtimeOnRandomSeconds) {
  std::mt19937_64 rng(20240611);
  std::uniform_int_distribution<long long> exact(kExactFirst, kExactLast);
  std::uniform_real_distribution<double> wide(-1e13, 1e13);
  for (int i = 0; i < 300000 && !HasFailure(); ++i) {
    ExpectSameAsGmtime(static_cast<double>(exact(rng)));
    if (i % 15 == 0) ExpectSameAsGmtime(std::floor(wide(rng)));
  }
  for (double edge : {kExactFirst - 1.0, kExactFirst + 0.0, kExactLast + 0.0, kExactLast + 1.0})
    ExpectSameAsGmtime(edge);
}

TEST(MgGmtime, AgreesWithGmtimeAroundLeapYearBoundaries) {
  const double days[] = {Utc(1900, 2, 28),  Utc(1900, 3, 1),  Utc(1899, 12, 31), Utc(2000, 2, 29),
                         Utc(2000, 12, 31), Utc(2100, 2, 28), Utc(2100, 3, 1),   Utc(1604, 12, 31),
                         Utc(1968, 12, 31), Utc(1600, 2, 29), Utc(1970, 1, 1),   Utc(2001, 1, 1),
                         Utc(1996, 12, 31), Utc(1700, 3, 1)};
  // Every second around each midnight, and a sparse walk through the days on either side.
  for (double day : days) {
    for (double s = -120.0; s <= 120.0; s += 1.0) ExpectSameAsGmtime(day + s);
    for (double s = -86400.0; s <= 2 * 86400.0; s += 13.0) ExpectSameAsGmtime(day + s);
  }
  ExpectSameAsGmtime(-0.25);  // a fraction never counts toward the next second
  ExpectSameAsGmtime(59.75);
}

}  // namespace
