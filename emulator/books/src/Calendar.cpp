// Days from the civil calendar (H. Hinnant's algorithm) and the date forms of cards and
// note files.
#include "Calendar.h"

#include <cctype>

namespace devicesim {
namespace {

long long DaysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

bool Leap(int y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

bool ValidDate(int y, int m, int d) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (m < 1 || m > 12 || d < 1) return false;
  return d <= kDays[m - 1] + (m == 2 && Leap(y) ? 1 : 0);
}

// Reads exactly `n` digits at `pos`.
bool Digits(const std::string& s, size_t& pos, size_t n, int* out) {
  if (pos + n > s.size()) return false;
  int value = 0;
  for (size_t i = 0; i < n; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(s[pos + i]))) return false;
    value = value * 10 + (s[pos + i] - '0');
  }
  pos += n;
  *out = value;
  return true;
}

bool Skip(const std::string& s, size_t& pos, char c) {
  if (pos < s.size() && s[pos] == c) {
    ++pos;
    return true;
  }
  return false;
}

// "T" HH[:]MM[[:]SS[.fff]] then Z, +/-HH[[:]MM] or nothing (taken as UTC). Adds the
// time of day, less the offset, to *seconds.
bool ParseTime(const std::string& s, size_t pos, double* seconds) {
  if (pos == s.size()) return true;
  if (s[pos] != 'T' && s[pos] != 't') return false;
  ++pos;
  int h = 0, m = 0, sec = 0;
  if (!Digits(s, pos, 2, &h)) return false;
  bool colon = Skip(s, pos, ':');
  if (!Digits(s, pos, 2, &m)) return false;
  if ((colon ? Skip(s, pos, ':') : true) && pos < s.size() &&
      std::isdigit(static_cast<unsigned char>(s[pos]))) {
    if (!Digits(s, pos, 2, &sec)) return false;
  }
  if (Skip(s, pos, '.') || Skip(s, pos, ','))
    while (pos < s.size() && std::isdigit(static_cast<unsigned char>(s[pos]))) ++pos;
  if (h > 24 || m > 59 || sec > 60) return false;
  int offset = 0;
  if (pos < s.size() && (s[pos] == 'Z' || s[pos] == 'z')) {
    ++pos;
  } else if (pos < s.size() && (s[pos] == '+' || s[pos] == '-')) {
    const int sign = s[pos] == '-' ? -1 : 1;
    ++pos;
    int oh = 0, om = 0;
    if (!Digits(s, pos, 2, &oh)) return false;
    Skip(s, pos, ':');
    if (pos < s.size() && !Digits(s, pos, 2, &om)) return false;
    offset = sign * (oh * 3600 + om * 60);
  }
  if (pos != s.size()) return false;
  *seconds += h * 3600.0 + m * 60.0 + sec - offset;
  return true;
}

}  // namespace

double SecondsSince2001(int year, int month, int day, int hour, int minute, int second) {
  const long long days =
      DaysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) -
      DaysFromCivil(2001, 1, 1);
  return static_cast<double>(days) * 86400.0 + hour * 3600.0 + minute * 60.0 + second;
}

bool ParseVCardDate(const std::string& text, double* seconds) {
  size_t pos = 0;
  int y = 1604, m = 0, d = 0;
  if (text.compare(0, 2, "--") == 0) {
    pos = 2;
    if (!Digits(text, pos, 2, &m)) return false;
    Skip(text, pos, '-');
    if (!Digits(text, pos, 2, &d)) return false;
  } else if (text.size() >= 5 && text[2] == '-' &&
             (text.size() == 5 || text[5] == 'T' || text[5] == 't')) {
    if (!Digits(text, pos, 2, &m) || !Skip(text, pos, '-') || !Digits(text, pos, 2, &d))
      return false;
  } else {
    if (!Digits(text, pos, 4, &y)) return false;
    bool dash = Skip(text, pos, '-');
    if (!Digits(text, pos, 2, &m)) return false;
    if (dash && !Skip(text, pos, '-')) return false;
    if (!Digits(text, pos, 2, &d)) return false;
  }
  if (!ValidDate(y, m, d)) return false;
  double value = SecondsSince2001(y, m, d);
  if (!ParseTime(text, pos, &value)) return false;
  *seconds = value;
  return true;
}

bool ParseIsoDate(const std::string& text, double* seconds) {
  size_t pos = 0;
  int y = 0, m = 0, d = 0;
  if (!Digits(text, pos, 4, &y) || !Skip(text, pos, '-') || !Digits(text, pos, 2, &m) ||
      !Skip(text, pos, '-') || !Digits(text, pos, 2, &d) || !ValidDate(y, m, d))
    return false;
  double value = SecondsSince2001(y, m, d);
  if (pos < text.size() && text[pos] == ' ') {
    std::string rest = text;
    rest[pos] = 'T';
    if (!ParseTime(rest, pos, &value)) return false;
  } else if (!ParseTime(text, pos, &value)) {
    return false;
  }
  *seconds = value;
  return true;
}

}  // namespace devicesim
