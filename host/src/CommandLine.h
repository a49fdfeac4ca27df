// The command line of veldrake: one subcommand (contacts or notes) and its options.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_COMMANDLINE_H_
#define VELDRAKE_HOST_COMMANDLINE_H_

#include <cstddef>
#include <string>

#include "PhoneCommands.h"
#include "veldrake/Session.h"

namespace host {

struct Options {
  VeldrakeDataKind kind = kVeldrakeContacts;
  std::string device;  // "" for the built-in device
  std::string format;  // always set: the kind's default when none is given
  std::string output;  // "" or "-" for standard output
  size_t limit = 0;    // 0: no limit
  bool quiet = false;
  PhoneRequest phone;  // a phone command instead of an export
};

// True with *options filled in (an export, or options->phone.command); false when the program ends
// here with *status (after
// --help too), the parser's message already printed.
bool ParseCommandLine(int argc, char** argv, Options* options, int* status);

}  // namespace host

#endif  // VELDRAKE_HOST_COMMANDLINE_H_
