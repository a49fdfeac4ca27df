// The command line of veldrake: one subcommand and its options.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_COMMANDLINE_H_
#define VELDRAKE_HOST_COMMANDLINE_H_

#include <cstddef>
#include <string>

#include "ExportLimits.h"
#include "Formats.h"
#include "PhoneCommands.h"
#include "veldrake/Session.h"

namespace host {

// The device that is never a phone: the built-in emulator with the sample data.
extern const char kSampleDevice[];

struct Options {
  enum Command { kExport, kPhone, kDoctor, kBackups } command = kExport;
  VeldrakeDataKind kind = kVeldrakeContacts;
  std::string device;  // "": the one usable phone, else the built-in device
  Format format = Format::kVCard3;
  std::string output;  // "" or "-" for standard output
  size_t limit = 0;    // 0: no limit
  int timeoutSeconds = 60;
  bool quiet = false;
  bool verbose = false;          // the library's and platform's own lines on standard error
  bool bom = false;              // CSV starts with a byte order mark
  std::string backup;            // export from this backup folder; doctor: check it; backups: list
  std::string passwordFile;      // the backup's password is its first line
  std::string notePasswordFile;  // passwords of locked notes, one a line
  bool includeDeleted = false;   // notes in "Recently Deleted" too
  PhoneRequest phone;            // command kPhone
  bool noPhotos = false;         // contacts: leave the photos out
  std::string account;           // contacts: only this account's people
  bool split = false;            // vCard into a folder: one file per person
  ExportLimits limits;           // export-wide: records, bytes rendered, bytes written
};

// True with *options filled in; false when the program ends here with *status (after
// --help too), the message already printed.
bool ParseCommandLine(int argc, char** argv, Options* options, int* status);

}  // namespace host

#endif  // VELDRAKE_HOST_COMMANDLINE_H_
