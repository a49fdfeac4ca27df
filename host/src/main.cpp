// veldrake: exports the contacts and notes of a device through libVeldrakeForMac, and
// looks after real phones. This file is the wiring: the locale the library needs, the
// signals, the command line, and the command it chose.
#include <langinfo.h>

#include <clocale>
#include <csignal>
#include <cstring>

#include "CommandLine.h"
#include "Doctor.h"
#include "ExitCodes.h"
#include "ExportCommand.h"
#include "Messages.h"
#include "PhoneCommands.h"
#include "Signals.h"

namespace {

// The library converts text with the process's locale: it must be a UTF-8 one.
void SetUtf8Locale() {
  const char* set = std::setlocale(LC_ALL, "");
  if (set != nullptr && std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0) return;
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr &&
      std::setlocale(LC_ALL, "en_US.UTF-8") == nullptr)
    host::Say("warning: no UTF-8 locale is available; non-ASCII text will be cut");
}

}  // namespace

int main(int argc, char** argv) {
  SetUtf8Locale();
  std::signal(SIGPIPE, SIG_IGN);
  host::Options options;
  int status = host::kExitOk;
  if (!host::ParseCommandLine(argc, argv, &options, &status)) return status;
  host::WatchSignals();
  switch (options.command) {
    case host::Options::kPhone:
      return host::RunPhoneCommand(options.phone);
    case host::Options::kDoctor:
      return host::RunDoctor(options);
    default:
      return host::RunExport(options);
  }
}
