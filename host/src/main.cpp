// veldrake: exports the contacts and notes of a device through libVeldrakeForMac, and
// looks after real phones. This file is the wiring: the locale the library needs, the
// signals, the command line, and the command it chose.
#include <langinfo.h>

#include <clocale>
#include <csignal>
#include <cstring>
#include <new>
#include <string>
#include <system_error>

#include "BackupCommands.h"
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

int Run(const host::Options& options) {
  switch (options.command) {
    case host::Options::kPhone:
      return host::RunPhoneCommand(options.phone);
    case host::Options::kDoctor:
      return host::RunDoctor(options);
    case host::Options::kBackups:
      return host::RunBackupList(options);
    default:
      return options.backup.empty() ? host::RunExport(options) : host::RunBackupExport(options);
  }
}

}  // namespace

int main(int argc, char** argv) {
  SetUtf8Locale();
  std::signal(SIGPIPE, SIG_IGN);
  host::Options options;
  int status = host::kExitOk;
  if (!host::ParseCommandLine(argc, argv, &options, &status)) return status;
  // Out of memory or threads, the person hears it; the output files are removed by
  // their owners on the way out.
  try {
    host::WatchSignals();
    return Run(options);
  } catch (const std::bad_alloc&) {
    host::Say("out of memory; nothing was written");
    return host::kExitOutput;
  } catch (const std::system_error& e) {
    host::Say(std::string("cannot start a thread: ") + e.what());
    return host::kExitSetup;
  }
}
