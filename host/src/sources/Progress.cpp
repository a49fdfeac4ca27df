// The export's progress line: what it says and how it is drawn on a terminal.
#include "Progress.h"

#include <cstdio>

namespace host {
namespace {

// A rate over less time than this says nothing a person could use.
const double kShortestRateSpan = 0.5;
const double kKilo = 1000;

std::string Bytes(double bytes) {
  static const char* const kUnits[] = {"B", "kB", "MB", "GB"};
  size_t unit = 0;
  while (bytes >= kKilo && unit + 1 < sizeof kUnits / sizeof kUnits[0]) {
    bytes /= kKilo;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, kUnits[unit]);
  return text;
}

}  // namespace

Progress::Progress(std::string noun, bool enabled) : noun_(std::move(noun)), enabled_(enabled) {}

std::string Progress::Line(const ProgressFigures& figures, const std::string& noun) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f s", figures.seconds);
  std::string line = text;
  if (figures.bytes >= 0) {
    line += "  " + Bytes(static_cast<double>(figures.bytes)) + " received";
    if (figures.seconds >= kShortestRateSpan)
      line += " (" + Bytes(static_cast<double>(figures.bytes) / figures.seconds) + "/s)";
  }
  if (figures.records > 0) {
    line += "  " + std::to_string(figures.records) + " " + noun;
    if (figures.recordSeconds >= kShortestRateSpan) {
      std::snprintf(text, sizeof text, " (%.0f/s)",
                    static_cast<double>(figures.records) / figures.recordSeconds);
      line += text;
    }
  }
  return line;
}

void Progress::Draw(const ProgressFigures& figures) {
  if (!enabled_) return;
  drawn_ = true;
  std::fprintf(stderr, "\r\033[K%s", Line(figures, noun_).c_str());
  std::fflush(stderr);
}

void Progress::Finish() {
  if (!drawn_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  drawn_ = false;
}

}  // namespace host
