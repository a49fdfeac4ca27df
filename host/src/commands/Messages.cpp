// The program's lines to a person.
#include "Messages.h"

#include <cstdio>

#include "SafeText.h"

namespace host {

void Say(const std::string& line) {
  std::fprintf(stderr, "veldrake: %s\n", line.c_str());
}

void SayBackupWarning(const char* line, void*) {
  Say("warning: " + SafeText(line, '?', Separators::kKept));
}

}  // namespace host
