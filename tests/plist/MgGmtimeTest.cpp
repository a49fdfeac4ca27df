// mg_gmtime64_s against the C library's gmtime_r, which serves as the oracle.
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <random>

#include "prop/mg_gmtime64_s.h"

namespace {

const double kExactFirst = -47524665600.0;  // 0464-01-02T00:00:00
const double kExactLast = 47556287999.0;    // 3476-12-30T23:59:59

void ExpectSameAsGmtime(double t) {
  struct tm got, want;
  mg_gmtime64_s(&got, &t);
  const time_t whole = static_cast<time_t>(std::floor(t));
  ASSERT_NE(gmtime_r(&whole, &want), nullptr) << t;
  EXPECT_EQ(got.tm_year, want.tm_year) << "t=" << t;
  EXPECT_EQ(got.tm_mon, want.tm_mon) << "t=" << t;
  EXPECT_EQ(got.tm_mday, want.tm_mday) << "t=" << t;
  EXPECT_EQ(got.tm_hour, want.tm_hour) << "t=" << t;
  EXPECT_EQ(got.tm_min, want.tm_min) << "t=" << t;
  EXPECT_EQ(got.tm_sec, want.tm_sec) << "t=" << t;
  EXPECT_EQ(got.tm_yday, want.tm_yday) << "t=" << t;
  EXPECT_EQ(got.tm_wday, want.tm_wday) << "t=" << t;
  EXPECT_EQ(got.tm_isdst, 0);
}

// Seconds since 1970 of a UTC calendar date, through the C library.
double Utc(int year, int mon, int mday, int hour, int min, int sec) {
  struct tm parts = {};
  parts.tm_year = year - 1900;
  parts.tm_mon = mon - 1;
  parts.tm_mday = mday;
  parts.tm_hour = hour;
  parts.tm_min = min;
  parts.tm_sec = sec;
  return static_cast<double>(timegm(&parts));
}

TEST(MgGmtime, AgreesWithGmtimeAcrossTheExactRange) {
  std::mt19937_64 rng(20240611);
  std::uniform_int_distribution<long long> second(static_cast<long long>(kExactFirst),
                                                  static_cast<long long>(kExactLast));
  for (int i = 0; i < 300000 && !HasFailure(); ++i)
    ExpectSameAsGmtime(static_cast<double>(second(rng)));
  ExpectSameAsGmtime(kExactFirst);
  ExpectSameAsGmtime(kExactLast);
}

TEST(MgGmtime, AgreesWithGmtimeAroundLeapYearBoundaries) {
  const double days[] = {
      Utc(1900, 2, 28, 0, 0, 0),  Utc(1900, 3, 1, 0, 0, 0),   Utc(1899, 12, 31, 0, 0, 0),
      Utc(2000, 2, 29, 0, 0, 0),  Utc(2000, 12, 31, 0, 0, 0), Utc(2100, 2, 28, 0, 0, 0),
      Utc(2100, 3, 1, 0, 0, 0),   Utc(1604, 12, 31, 0, 0, 0), Utc(1968, 12, 31, 0, 0, 0),
      Utc(1600, 2, 29, 0, 0, 0),  Utc(1970, 1, 1, 0, 0, 0),   Utc(2001, 1, 1, 0, 0, 0),
      Utc(1996, 12, 31, 0, 0, 0), Utc(1700, 3, 1, 0, 0, 0)};
  // Every second around each midnight, and a sparse walk through the days on either side.
  for (double day : days) {
    for (double s = -120.0; s <= 120.0; s += 1.0) ExpectSameAsGmtime(day + s);
    for (double s = -86400.0; s <= 2 * 86400.0; s += 13.0) ExpectSameAsGmtime(day + s);
  }
  ExpectSameAsGmtime(-0.25);  // a fraction never counts toward the next second
  ExpectSameAsGmtime(59.75);
}

TEST(MgGmtime, BeyondTheExactRangeStillMatchesGmtime) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> wide(-1e13, 1e13);
  for (int i = 0; i < 20000 && !HasFailure(); ++i) ExpectSameAsGmtime(std::floor(wide(rng)));
  ExpectSameAsGmtime(kExactFirst - 1.0);
  ExpectSameAsGmtime(kExactLast + 1.0);
}

TEST(MgGmtime, AnyValueGivesFieldsStrftimeAccepts) {
  const double inf = std::numeric_limits<double>::infinity();
  const double values[] = {std::nan(""),
                           inf,
                           -inf,
                           1e300,
                           -1e300,
                           1e17,
                           -1e17,
                           std::numeric_limits<double>::max(),
                           -std::numeric_limits<double>::max()};
  for (double t : values) {
    struct tm parts;
    EXPECT_EQ(mg_gmtime64_s(&parts, &t), 0);
    EXPECT_GE(parts.tm_mon, 0);
    EXPECT_LE(parts.tm_mon, 11);
    EXPECT_GE(parts.tm_mday, 1);
    EXPECT_LE(parts.tm_mday, 31);
    EXPECT_GE(parts.tm_yday, 0);
    EXPECT_LE(parts.tm_yday, 365);
    EXPECT_GE(parts.tm_hour, 0);
    EXPECT_LE(parts.tm_hour, 23);
    EXPECT_GE(parts.tm_sec, 0);
    EXPECT_LE(parts.tm_sec, 59);
    char text[64];
    EXPECT_GT(std::strftime(text, sizeof text, "%m-%d-%Y %H:%M:%S", &parts), 0u) << t;
  }
}

}  // namespace
