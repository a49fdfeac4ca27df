// Progress: one line on standard error, redrawn while an export runs, only when standard
// error is a terminal: the time since the start, the bytes received (when the platform
// counts them), and the records once they arrive, each rate over the time it covers.
//
// Thread contract: one thread (the export monitor's).
#ifndef VELDRAKE_HOST_PROGRESS_H_
#define VELDRAKE_HOST_PROGRESS_H_

#include <cstddef>
#include <string>

namespace host {

struct ProgressFigures {
  double seconds = 0;        // since the export started
  long long bytes = -1;      // received so far; -1 when the platform cannot count them
  size_t records = 0;        // copied so far
  double recordSeconds = 0;  // since the first record arrived
};

class Progress {
 public:
  // `noun` names the records ("contacts"); `enabled` false draws nothing.
  Progress(std::string noun, bool enabled);
  void Draw(const ProgressFigures& figures);
  // Clears the line, so the summary that follows stands alone.
  void Finish();

  // "12.4 s  3.1 MB received (250 kB/s)  1200 contacts (400/s)"
  static std::string Line(const ProgressFigures& figures, const std::string& noun);

 private:
  std::string noun_;
  bool enabled_;
  bool drawn_ = false;
};

}  // namespace host

#endif  // VELDRAKE_HOST_PROGRESS_H_
