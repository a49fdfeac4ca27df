// Exports and lists through the backup library, with the password kept out of sight.
#include "BackupCommands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

#include "BackupNotesExport.h"
#include "ContactOptions.h"
#include "Exporter.h"
#include "Library.h"
#include "Messages.h"
#include "Output.h"
#include "Password.h"
#include "SafeText.h"
#include "Signals.h"

namespace host {
namespace {

// What the fake device handle of a backup export points to.
struct BackupSource {
  const BackupLibrary* library;
  const char* path;
  const char* password;  // null: none
  int flags;             // VeldrakeBackupGetContacts's
};

// A text of the backup as it may be printed: no terminal escapes, no invalid UTF-8.
std::string Shown(const char* text, const char* empty = "") {
  const std::string safe = SafeText(text, '?', Separators::kKept);
  return safe.empty() ? empty : safe;
}

// GetData's shape over VeldrakeBackupGetData, so that the Exporter drives both alike.
int BackupGetData(int kind, void*, void* device, void* callback) {
  const BackupSource& source = *static_cast<const BackupSource*>(device);
  if (kind == kVeldrakeContacts && source.library->getContacts != nullptr)
    return source.library->getContacts(source.path, source.password, source.flags,
                                       Exporter::OnContact, nullptr, SayBackupWarning, nullptr);
  return source.library->getData(source.path, source.password, kind,
                                 reinterpret_cast<VeldrakeRecordCallback>(callback),
                                 SayBackupWarning, nullptr);
}

int NothingToClose() {
  return 0;
}

int Failed(const std::string& line, int status) {
  Say(line);
  return status;
}

int StatusOf(int result) {
  switch (result) {
    case kVeldrakeBackupNotABackup:
    case kVeldrakeBackupSeveral:
      return kExitNotABackup;
    case kVeldrakeBackupNeedsPassword:
      return kExitBackupEncrypted;
    case kVeldrakeBackupWrongPassword:
      return kExitWrongPassword;
    case kVeldrakeBackupStoreMissing:
      return kExitStoreMissing;
    case kVeldrakeBackupStoreUnreadable:
      return kExitStoreUnreadable;
    case kVeldrakeBackupInvalidArgument:
      return kExitUsage;
    case kVeldrakeBackupCancelled:
      return kExitInterrupted;
    case kVeldrakeBackupNoTemporaryFolder:
    case kVeldrakeBackupNoSpace:
      return kExitOutput;  // the message names TMPDIR or the disk
    default:
      return kExitOutput;  // out of memory
  }
}

int LoadLibraries(Library* library, BackupLibrary* backup) {
  std::string error;
  if (!library->Load(&error) || !backup->Load(*library, &error)) return Failed(error, kExitSetup);
  // From here a signal must take the library's decrypted files with it.
  SetSignalHooks(backup->cancel, backup->removeTemporaries);
  return kExitOk;
}

// The password when the backup is encrypted ("" when it is not, or none was found).
int FindPassword(const Options& options, const BackupLibrary& backup, std::string* password) {
  VeldrakeBackupInfo info[1];
  if (backup.list(options.backup.c_str(), info, 1) != 1 || !info[0].encrypted) return kExitOk;
  std::string error;
  if (!ReadPassword(options.passwordFile, password, &error)) return Failed(error, kExitUsage);
  return kExitOk;
}

// How the export ended, with its line said when it failed.
int Explain(const ExportOutcome& outcome, const BackupLibrary& backup) {
  if (outcome.cancelled || CancelRequested())
    return Failed("stopped (Ctrl-C); nothing was written", kExitInterrupted);
  if (outcome.outOfMemory)
    return Failed("out of memory while copying the records; nothing was written", kExitOutput);
  if (outcome.sinkStopped) return kExitOk;  // the output says why when it is written
  if (outcome.result == kVeldrakeBackupOk ||
      (outcome.result == kVeldrakeBackupStopped && outcome.stoppedByHost))
    return kExitOk;
  std::string message = Shown(backup.lastMessage());
  if (outcome.result == kVeldrakeBackupNeedsPassword)
    message += " (give it with --password-file FILE or " + std::string(kPasswordVariable) + ")";
  return Failed(message, StatusOf(outcome.result));
}

std::string Date(int64_t seconds) {
  if (seconds < 0) return "-";
  const std::time_t when = static_cast<std::time_t>(seconds);
  std::tm utc{};
  char text[32];
  if (::gmtime_r(&when, &utc) == nullptr ||
      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &utc) == 0)
    return "-";
  return text;
}

// How an export of the notes whole ended: the status, its lines said.
int FinishNotesWhole(const Options& options, const BackupLibrary& backup, const NotesRun& run,
                     Output* output) {
  if (!run.error.empty()) return Failed(run.error, kExitUsage);
  ExportOutcome outcome;
  outcome.result = run.result;
  outcome.stoppedByHost = run.stoppedByHost;
  outcome.cancelled = run.cancelled;
  outcome.sinkStopped = run.outputStopped;
  int status = Explain(outcome, backup);
  if (status == kExitOk) status = output->Write();
  if (status == kExitOk && !options.quiet)
    std::fprintf(stderr, "exported %zu notes from the backup\n", run.count);
  return status;
}

}  // namespace

int RunBackupExport(const Options& options) {
  Output output(options);
  int status = output.Open();
  if (status != kExitOk) return status;
  Library library;
  BackupLibrary backup;
  if ((status = LoadLibraries(&library, &backup)) != kExitOk) return status;
  std::string password;
  if ((status = FindPassword(options, backup, &password)) != kExitOk) return status;
  if (options.kind == kVeldrakeNotes && backup.getNotes != nullptr) {
    const NotesRun run = ExportBackupNotes(options, backup, password, &output);
    // A phone before iOS 9 keeps the older store, which only the records' route reads.
    if (run.result != kVeldrakeBackupStoreMissing || run.count != 0 || !run.error.empty()) {
      Forget(&password);
      return FinishNotesWhole(options, backup, run, &output);
    }
  }
  Library adapter;
  adapter.getData = BackupGetData;
  adapter.disconnect = NothingToClose;
  ExportSettings settings;
  settings.kind = options.kind;
  settings.limit = options.limit;
  settings.platformDevice = false;
  settings.account = options.account;
  settings.sink = &output;
  Exporter exporter(adapter, settings);
  BackupSource source{&backup, options.backup.c_str(),
                      password.empty() ? nullptr : password.c_str(),
                      options.noPhotos ? VELDRAKE_CONTACTS_NO_PHOTOS : 0};
  const ExportOutcome outcome = exporter.Run(&source);
  Forget(&password);
  if ((status = Explain(outcome, backup)) != kExitOk) return status;
  if ((status = CheckAccount(options, exporter)) != kExitOk) return status;
  if ((status = output.Write()) != kExitOk) return status;
  if (!options.quiet)
    std::fprintf(stderr, "exported %zu %s from the backup in %.2f s\n", exporter.count(),
                 options.kind == kVeldrakeContacts ? "contacts" : "notes", outcome.seconds);
  return kExitOk;
}

int RunBackupList(const Options& options) {
  Library library;
  BackupLibrary backup;
  int status = LoadLibraries(&library, &backup);
  if (status != kExitOk) return status;
  const int count = backup.list(options.backup.c_str(), nullptr, 0);
  if (count <= 0) return Failed(Shown(backup.lastMessage()), StatusOf(count));
  std::vector<VeldrakeBackupInfo> infos(static_cast<size_t>(count));
  const int listed = backup.list(options.backup.c_str(), infos.data(), count);
  if (listed < 0) return Failed(Shown(backup.lastMessage()), StatusOf(listed));
  infos.resize(static_cast<size_t>(std::min(listed, count)));
  std::printf("%-40s  %-24s  %-8s  %-16s  %s\n", "UDID", "NAME", "VERSION", "DATE (UTC)",
              "ENCRYPTED");
  for (const VeldrakeBackupInfo& info : infos) {
    std::printf("%-40s  %-24s  %-8s  %-16s  %s%s\n", Shown(info.udid, "-").c_str(),
                Shown(info.name, "-").c_str(), Shown(info.version, "-").c_str(),
                Date(info.date).c_str(), info.encrypted ? "yes" : "no",
                info.complete ? "" : "  (incomplete)");
    if (info.udid[0] == '\0') {
      Say(Shown(info.path) + ": cannot be read (no readable Manifest.plist or Info.plist)");
      status = kExitNotABackup;
    }
  }
  if (backup.lastMessage()[0] != '\0') SayBackupWarning(backup.lastMessage(), nullptr);
  return status;
}

}  // namespace host
