// The export-wide counts and the one message a limit passed gives.
#include "ExportLimits.h"

namespace host {

bool Budget::Add(uint64_t* count, uint64_t more, uint64_t limit, const char* what,
                 const char* option) {
  if (exceeded()) return false;
  if (more > limit || *count > limit - more) {
    error_ = "the export passed its limit of " + std::to_string(limit) + " " + what + " (" +
             option +
             "; the default is far above any real phone, so the source may be "
             "damaged or hostile); nothing was written";
    return false;
  }
  *count += more;
  return true;
}

bool Budget::AddRecord() {
  return Add(&records_, 1, limits_.records, "records", "--max-records");
}

bool Budget::AddRendered(uint64_t bytes) {
  return Add(&rendered_, bytes, limits_.rendered, "bytes of text", "--max-rendered");
}

bool Budget::AddWritten(uint64_t bytes) {
  return Add(&written_, bytes, limits_.written, "bytes written", "--max-written");
}

bool Budget::AddHeld(uint64_t bytes) {
  return Add(&held_, bytes, limits_.rendered, "bytes of text", "--max-rendered");
}

}  // namespace host
