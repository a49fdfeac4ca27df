// The program's lines to a person.
#include "Messages.h"

#include <cstdio>

namespace host {

void Say(const std::string& line) {
  std::fprintf(stderr, "veldrake: %s\n", line.c_str());
}

}  // namespace host
