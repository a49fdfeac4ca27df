// Hands skipped-record warnings to the host's callback.
#include "Warnings.h"

namespace veldrake::backup {

void Warnings::Say(const std::string& line) const {
  if (callback != nullptr) callback(line.c_str(), context);
}

}  // namespace veldrake::backup
