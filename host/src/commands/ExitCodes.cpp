// The help footer's exit status table, printed from the one table of codes.
#include "ExitCodes.h"

#include <cstdio>

namespace host {

std::string ExitStatusTable() {
  struct Row {
    int code;
    const char* help;
  };
#define VELDRAKE_EXIT_ROW(code, name, help) {code, help},
  static const Row kRows[] = {VELDRAKE_EXIT_CODES(VELDRAKE_EXIT_ROW)};
#undef VELDRAKE_EXIT_ROW
  std::string out = "Exit status:\n";
  for (const Row& row : kRows) {
    char code[16];
    std::snprintf(code, sizeof code, "  %-5d", row.code);
    out += code + std::string(row.help) + "\n";
  }
  return out;
}

}  // namespace host
