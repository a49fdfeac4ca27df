// The program's backup options.
#include "devicesim/backup/BackupCommand.h"

#include <CLI/CLI.hpp>

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <fstream>
#include <iostream>

#include "Files.h"

namespace devicesim::backup {
namespace {

const int kExitWriteFailed = 1;
const int kExitBadInput = 2;

bool ReadPassword(const std::string& path, std::string* password, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot read the password file " + path;
    return false;
  }
  std::getline(in, *password);
  if (!password->empty() && password->back() == '\r') password->pop_back();
  if (password->empty()) {
    *error = "the password file " + path + " starts with an empty line";
    return false;
  }
  return true;
}

// Interrupting signals wait until the temporary folders are gone (on success or failure),
// so an interrupted run leaves nothing behind, in particular no plain copy of an
// encrypted backup's databases.
bool WriteBackupUninterrupted(const AddressBook& book, const NoteStore& notes,
                              const std::string& dir, const BackupOptions& options,
                              std::string* error) {
  sigset_t blocked, previous;
  sigemptyset(&blocked);
  for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&blocked, signal);
  pthread_sigmask(SIG_BLOCK, &blocked, &previous);
  const bool ok = WriteBackup(book, notes, dir, options, error);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return ok;
}

}  // namespace

void AddBackupOptions(CLI::App& app, BackupCommand& c) {
  const char* group = "Backup";
  app.add_option("--write-backup", c.dir,
                 "write a phone's local backup of the book and notes into DIR/<UDID>, then exit")
      ->group(group);
  app.add_option("--password-file", c.passwordFile,
                 "encrypt the backup with the password on this file's first line")
      ->group(group);
  app.add_flag("--replace", c.options.replace, "replace an existing DIR/<UDID>")->group(group);
  app.add_option("--backup-os,--ios", c.options.productVersion,
                 "the phone's OS version (before 9: the old notes store)")
      ->capture_default_str()
      ->group(group);
  app.add_flag("--notes-faults", c.options.notesFaults,
               "add hostile notes titled \"Fault: ...\" (broken tables, attachments, locks)")
      ->group(group);
  app.add_option("--wal-people", c.options.walPeople,
                 "the last N people only in the address book's write-ahead log")
      ->group(group);
  app.add_option("--udid", c.options.udid, "the phone's identifier")
      ->capture_default_str()
      ->group(group);
  app.add_option("--device-name", c.options.deviceName, "the phone's name")
      ->capture_default_str()
      ->group(group);
  app.add_option("--backup-iterations", c.options.sha256Iterations,
                 "the keybag's PBKDF2-SHA256 count (a phone uses 10000000)")
      ->capture_default_str()
      ->group(group);
  app.add_option("--backup-sha1-iterations", c.options.sha1Iterations,
                 "the keybag's PBKDF2-SHA1 count (a phone uses 10000)")
      ->capture_default_str()
      ->group(group);
}

int RunBackupCommand(const BackupCommand& command, const AddressBook& book,
                     const NoteStore& notes) {
  BackupOptions options = command.options;
  std::string error;
  if (!command.passwordFile.empty() &&
      !ReadPassword(command.passwordFile, &options.password, &error)) {
    std::cerr << "veldrake-devicesim: " << error << "\n";
    return kExitBadInput;
  }
  // Refusing to overwrite is the caller's input at fault, not a failure to write.
  const bool refused = Exists(command.dir + "/" + options.udid) && !options.replace;
  if (!WriteBackupUninterrupted(book, notes, command.dir, options, &error)) {
    std::cerr << "veldrake-devicesim: " << error << (refused ? " (replace it with --replace)" : "")
              << "\n";
    return refused ? kExitBadInput : kExitWriteFailed;
  }
  std::printf("backup of %zu contacts, %zu notes%s written to %s/%s\n", book.people.size(),
              notes.notes.size(), options.password.empty() ? "" : " (encrypted)",
              command.dir.c_str(), options.udid.c_str());
  return 0;
}

}  // namespace devicesim::backup
