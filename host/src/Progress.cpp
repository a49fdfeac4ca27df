#include "Progress.h"

#include <cstdio>

namespace host {

Progress::Progress(std::string noun, bool enabled)
    : noun_(std::move(noun)), enabled_(enabled), start_(std::chrono::steady_clock::now()) {}

void Progress::Record(size_t count) {
  if (!enabled_) return;
  const auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  drawn_ = true;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  std::fprintf(stderr, "\r\033[Kreceived %zu %s (%.0f/s)", count, noun_.c_str(),
               seconds > 0 ? static_cast<double>(count) / seconds : 0.0);
  std::fflush(stderr);
}

void Progress::Finish() {
  if (!drawn_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  drawn_ = false;
}

}  // namespace host
