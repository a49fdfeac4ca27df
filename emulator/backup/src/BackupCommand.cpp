// The program's backup options.
#include "devicesim/backup/BackupCommand.h"

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
  app.add_option("--backup-os", c.options.productVersion,
                 "the phone's OS version (before 9: the old notes store)")
      ->capture_default_str()
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
  if (Exists(command.dir + "/" + options.udid) && !options.replace) {
    std::cerr << "veldrake-devicesim: " << command.dir << "/" << options.udid
              << " already exists (replace it with --replace)\n";
    return kExitBadInput;
  }
  if (!WriteBackup(book, notes, command.dir, options, &error)) {
    std::cerr << "veldrake-devicesim: " << error << "\n";
    return kExitWriteFailed;
  }
  std::printf("backup of %zu contacts, %zu notes%s written to %s/%s\n", book.people.size(),
              notes.notes.size(), options.password.empty() ? "" : " (encrypted)",
              command.dir.c_str(), options.udid.c_str());
  return 0;
}

}  // namespace devicesim::backup
