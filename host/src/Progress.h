// Progress: a one-line count and rate of the records received, redrawn on standard error
// at most ten times a second, and only when standard error is a terminal.
//
// Thread contract: one thread (the record callback's).
#ifndef VELDRAKE_HOST_PROGRESS_H_
#define VELDRAKE_HOST_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <string>

namespace host {

class Progress {
 public:
  // `noun` names the records ("contacts"); `enabled` false draws nothing.
  Progress(std::string noun, bool enabled);
  void Record(size_t count);
  // Clears the line, so the summary that follows stands alone.
  void Finish();

 private:
  std::string noun_;
  bool enabled_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point start_, last_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_PROGRESS_H_
