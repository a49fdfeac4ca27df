// The doctor's checklist: each step asks the platform or runs a small export.
#include "Doctor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "Exporter.h"
#include "Library.h"
#include "MobileDevice/mdsim.h"
#include "Password.h"
#include "Phones.h"

namespace host {
namespace {

const char kOk[] = "ok";
const char kFail[] = "FAIL";
const char kNote[] = "note";

void Line(const char* mark, const std::string& text) {
  std::printf("[%s] %s\n", mark, text.c_str());
  std::fflush(stdout);
}

// The failed step's line and what to do; its exit status.
int Fail(const std::string& what, int code) {
  PhoneFailure failure;
  if (!DescribePhoneError(code, &failure))
    failure = {kExitPlatform, "platform code " + std::to_string(code)};
  Line(kFail, what + ": " + failure.message);
  return failure.status;
}

// One export through the library, its console lines kept out of the checklist.
ExportOutcome TryExport(const Library& library, const std::string& endpoint, VeldrakeDataKind kind,
                        size_t* count) {
  ExportSettings settings;
  settings.kind = kind;
  Exporter exporter(library, settings);
  std::fflush(stdout);
  const int saved = ::dup(STDOUT_FILENO);
  const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (null >= 0) {
    ::dup2(null, STDOUT_FILENO);
    ::close(null);
  }
  void* device = mdsim_device_new(endpoint.c_str());
  ExportOutcome outcome = exporter.Run(device);
  mdsim_device_free(device);
  std::fflush(stdout);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  *count = exporter.count();
  return outcome;
}

// The phone's own conditions, from its description.
int CheckPhone(const mdphone_info& phone) {
  Line(kOk,
       "phone attached: " + PhoneLabel(phone) + (phone.version[0] ? ", iOS " : "") + phone.version);
  if (phone.trusted != MDPHONE_YES) return Fail("trusts this computer", MDPHONE_ERR_NOT_PAIRED);
  Line(kOk, "trusts this computer");
  if (phone.locked == MDPHONE_YES) return Fail("unlocked", MDPHONE_ERR_PASSCODE_LOCKED);
  Line(kOk, phone.locked == MDPHONE_NO ? "unlocked" : "unlocked (could not be asked)");
  if (phone.contacts_sync == MDPHONE_NO) {
    Line(kFail,
         "contact sync with a computer: off; turn it on with `veldrake enable-sync "
         "--device usb:" +
             std::string(phone.udid) + "` (changes a setting on the phone)");
    return kExitContactSyncOff;
  }
  Line(kOk, "contact sync with a computer: on");
  int tls = 0;
  const int probed = mdphone_probe_service(phone.udid, &tls);
  if (probed != 0) return Fail("the sync service starts", probed);
  Line(kOk, std::string("the sync service starts (") + (tls ? "with TLS)" : "without TLS)"));
  return kExitOk;
}

// Contacts and notes, each through a real export.
int CheckExports(const mdphone_info& phone) {
  Library library;
  std::string error;
  if (!library.Load(&error)) {
    Line(kFail, "library: " + error);
    return kExitSetup;
  }
  const std::string endpoint = "usb:" + std::string(phone.udid);
  size_t count = 0;
  ExportOutcome outcome = TryExport(library, endpoint, kVeldrakeContacts, &count);
  if (outcome.platformError != 0) return Fail("contacts served", outcome.platformError);
  if (outcome.result != kVeldrakeOk) {
    Line(kFail, "contacts served: " + Exporter::Describe(outcome.result));
    return Exporter::ExitStatus(outcome.result);
  }
  if (count == 0)
    Line(kNote,
         "contacts served: none; a phone whose contacts are kept in iCloud has none to "
         "sync with a computer: export them from iCloud.com or from a backup");
  else
    Line(kOk, "contacts served: " + std::to_string(count));
  outcome = TryExport(library, endpoint, kVeldrakeNotes, &count);
  if (outcome.result == kVeldrakeOk)
    Line(kOk, "notes store: present, " + std::to_string(count) + " notes");
  else
    Line(kNote,
         "notes store: none (since iOS 11 notes live in iCloud or only on the phone): "
         "export them from a backup");
  return kExitOk;
}

// Records counted by a check's export.
size_t g_counted = 0;

int CountRecord(void*) {
  ++g_counted;
  return 0;
}

void CountSkipped(const char*, void* skipped) {
  ++*static_cast<size_t*>(skipped);
}

// The backup the folder names, described; kExitOk when it is one complete backup.
int DescribeBackup(const BackupLibrary& backup, const std::string& path, VeldrakeBackupInfo* info) {
  const int count = backup.list(path.c_str(), info, 1);
  if (count <= 0) {
    Line(kFail, "backup " + path + ": not a backup (" + backup.lastMessage() + ")");
    return kExitNotABackup;
  }
  if (count > 1) {
    Line(kFail, "backup " + path + ": the folder holds " + std::to_string(count) +
                    " backups: name one (veldrake backups " + path + " lists them)");
    return kExitNotABackup;
  }
  if (!info->complete) {
    Line(kFail, "backup " + path + ": incomplete: make it again with `idevicebackup2 backup`");
    return kExitNotABackup;
  }
  Line(kOk, "backup " + std::string(info->path) + ": complete, " +
                (info->encrypted ? "encrypted" : "not encrypted") +
                (info->version[0] ? std::string(", iOS ") + info->version : ""));
  return kExitOk;
}

struct StoreCount {
  int result;
  size_t records, skipped;
};

// One store counted through a real export.
StoreCount CountStore(const BackupLibrary& backup, const std::string& path, const char* password,
                      int kind) {
  g_counted = 0;
  size_t skipped = 0;
  const int result =
      backup.getData(path.c_str(), password, kind, CountRecord, CountSkipped, &skipped);
  return {result, g_counted, skipped};
}

// The store's line, right after its count (the library's last message is about it).
void SayStore(const BackupLibrary& backup, int kind, const StoreCount& count) {
  const std::string store = kind == VELDRAKE_BACKUP_CONTACTS ? "address book" : "notes store";
  const char* noun = kind == VELDRAKE_BACKUP_CONTACTS ? " people" : " notes";
  if (count.result == kVeldrakeBackupOk)
    Line(kOk, store + ": " + std::to_string(count.records) + noun +
                  (count.skipped ? " (" + std::to_string(count.skipped) + " cannot be read)" : ""));
  else if (count.result == kVeldrakeBackupStoreMissing)
    Line(kNote, store + ": none in this backup");
  else
    Line(kFail, store + ": " + backup.lastMessage());
}

int BackupVerdict(int contacts, int notes) {
  const int missing = kVeldrakeBackupStoreMissing;
  if (contacts == missing && notes == missing) {
    Line(kFail, "the backup holds no address book and no notes store");
    return kExitStoreMissing;
  }
  for (int result : {contacts, notes}) {
    if (result == kVeldrakeBackupOk || result == missing) continue;
    return result == kVeldrakeBackupStoreUnreadable ? kExitStoreUnreadable : kExitOutput;
  }
  return kExitOk;
}

// The backup alone: complete, the password, each store and what it holds.
int CheckBackup(const Options& options) {
  Library library;
  BackupLibrary backup;
  std::string error;
  if (!library.Load(&error) || !backup.Load(library, &error)) {
    Line(kFail, "backup " + options.backup + ": " + error);
    return kExitSetup;
  }
  VeldrakeBackupInfo info{};
  int status = DescribeBackup(backup, options.backup, &info);
  if (status != kExitOk) return status;
  std::string password;
  if (info.encrypted && !ReadPassword(options.passwordFile, &password, &error)) {
    Line(kFail, "password: " + error);
    return kExitUsage;
  }
  if (info.encrypted && password.empty()) {
    Line(kFail,
         std::string("password: none given (--password-file FILE or ") + kPasswordVariable + ")");
    return kExitBackupEncrypted;
  }
  const char* secret = info.encrypted ? password.c_str() : nullptr;
  const StoreCount contacts = CountStore(backup, options.backup, secret, VELDRAKE_BACKUP_CONTACTS);
  if (contacts.result == kVeldrakeBackupWrongPassword) {
    Forget(&password);
    Line(kFail, "password: it does not open the backup");
    return kExitWrongPassword;
  }
  if (info.encrypted) Line(kOk, "password: it opens the backup");
  SayStore(backup, VELDRAKE_BACKUP_CONTACTS, contacts);
  const StoreCount notes = CountStore(backup, options.backup, secret, VELDRAKE_BACKUP_NOTES);
  Forget(&password);
  SayStore(backup, VELDRAKE_BACKUP_NOTES, notes);
  return BackupVerdict(contacts.result, notes.result);
}

int CheckDevice(const Options& options) {
  std::vector<mdphone_info> phones;
  if (ListPhones(&phones) != 0) return Fail("usbmux daemon running", MDPHONE_ERR_NO_DAEMON);
  Line(kOk, "usbmux daemon running");
  // Without --device, the phone an export would choose: the one that trusts us.
  std::string udid = PhoneUdid(options.device);
  std::string endpoint, notice;
  PhoneFailure failure;
  if (options.device.empty() && ChooseDefaultDevice(&endpoint, &notice, &failure))
    udid = PhoneUdid(endpoint);
  mdphone_info phone{};
  const int found = LocatePhone(udid, &phone);
  if (found != 0) return Fail("phone attached", found);
  const int status = CheckPhone(phone);
  return status != kExitOk ? status : CheckExports(phone);
}

}  // namespace

int RunDoctor(const Options& options) {
  // A backup named alone is checked alone: it needs no daemon and no phone.
  int status = options.backup.empty() || !options.device.empty() ? CheckDevice(options) : kExitOk;
  if (!options.backup.empty()) {
    const int backup = CheckBackup(options);
    if (status == kExitOk) status = backup;
  }
  if (status == kExitOk) Line(kOk, "an export would work");
  return status;
}

}  // namespace host
