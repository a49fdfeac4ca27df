// Real phones as the command-line host meets them: choosing one, checking it, and one line
// for every way it can fail.
#include "Phones.h"

#include <cctype>
#include <cstdlib>

#include "veldrake/Session.h"

namespace host {
namespace {

const char kUsb[] = "usb";
const char kUsbPrefix[] = "usb:";
// The two forms of a phone's UDID: 40 hex digits, or 8 and 16 joined by a hyphen.
const size_t kLegacyUdidLength = 40;
const size_t kUdidHead = 8, kUdidTail = 16;
// Phones keep no notes for a computer since this major version.
const int kFirstVersionWithoutNotesStore = 11;

// "UDID (name), UDID (name)" or "none".
std::string AttachedList() {
  std::vector<mdphone_info> phones;
  if (ListPhones(&phones) != 0 || phones.empty()) return "none";
  std::string out;
  for (const mdphone_info& phone : phones) {
    if (!out.empty()) out += ", ";
    out += PhoneLabel(phone);
  }
  return out;
}

std::string PhoneName(const mdphone_info& phone, bool known) {
  return known && phone.name[0] != '\0' ? phone.name : "the phone";
}

std::string DeviceOption(const std::string& udid) {
  return udid.empty() ? "" : " --device usb:" + udid;
}

}  // namespace

bool IsPhoneEndpoint(const std::string& endpoint) {
  return endpoint == kUsb || endpoint.compare(0, sizeof kUsbPrefix - 1, kUsbPrefix) == 0;
}

bool IsWellFormedUdid(const std::string& udid) {
  const auto hex = [&udid](size_t from, size_t count) {
    for (size_t i = from; i < from + count; ++i)
      if (!std::isxdigit(static_cast<unsigned char>(udid[i]))) return false;
    return true;
  };
  if (udid.size() == kLegacyUdidLength) return hex(0, kLegacyUdidLength);
  return udid.size() == kUdidHead + 1 + kUdidTail && udid[kUdidHead] == '-' && hex(0, kUdidHead) &&
         hex(kUdidHead + 1, kUdidTail);
}

std::string MalformedUdidMessage(const std::string& endpoint) {
  if (!IsPhoneEndpoint(endpoint) || endpoint == kUsb) return "";
  const std::string udid = PhoneUdid(endpoint);
  if (IsWellFormedUdid(udid)) return "";
  return "'" + udid +
         "' is not a phone's UDID (40 hex digits, or 8 and 16 joined by '-'): see "
         "`veldrake devices`";
}

std::string PhoneUdid(const std::string& endpoint) {
  return IsPhoneEndpoint(endpoint) && endpoint != kUsb ? endpoint.substr(sizeof kUsbPrefix - 1)
                                                       : "";
}

int ListPhones(std::vector<mdphone_info>* phones) {
  phones->clear();
  int count = mdphone_list(nullptr, 0);
  // A phone may arrive between the two calls: ask again with room for it.
  while (count > static_cast<int>(phones->size())) {
    phones->resize(static_cast<size_t>(count));
    count = mdphone_list(phones->data(), count);
  }
  if (count < 0) {
    phones->clear();
    return count;
  }
  phones->resize(static_cast<size_t>(count));
  return 0;
}

std::string PhoneLabel(const mdphone_info& phone) {
  return phone.name[0] == '\0' ? phone.udid : std::string(phone.name) + " (" + phone.udid + ")";
}

int LocatePhone(const std::string& udid, mdphone_info* phone) {
  // Only the phone asked for is opened, however many are attached.
  return mdphone_describe(udid.empty() ? nullptr : udid.c_str(), phone);
}

bool FindPhone(const std::string& udid, mdphone_info* phone) {
  return LocatePhone(udid, phone) == 0;
}

// What a person can do about each platform code; the list of attached phones is added
// where choosing one is the answer.
struct PhoneAdvice {
  int code;
  int status;
  const char* message;
  bool listAttached;
};

constexpr PhoneAdvice kPhoneAdvice[] = {
    {MDPHONE_ERR_NO_DAEMON, kExitNoDaemon,
     "no usbmux daemon is running: start it with `sudo systemctl start usbmuxd` "
     "(install it with `sudo apt-get install usbmuxd`)",
     false},
    {MDPHONE_ERR_NO_DEVICE, kExitNoPhone,
     "no phone is attached: plug it in with a USB cable, unlock it, and check "
     "with `veldrake devices`",
     false},
    {MDPHONE_ERR_SEVERAL_DEVICES, kExitSeveralPhones,
     "several phones are attached: choose one with --device usb:UDID", true},
    {MDPHONE_ERR_UDID_NOT_FOUND, kExitUnknownUdid,
     "no attached phone has that UDID: choose one with --device usb:UDID", true},
    {MDPHONE_ERR_NOT_PAIRED, kExitNotTrusted,
     "the phone does not trust this computer: run `veldrake pair`, unlock the "
     "phone and tap Trust",
     false},
    {MDPHONE_ERR_PASSCODE_LOCKED, kExitLocked,
     "the phone is locked with a passcode: unlock it, keep it unlocked, and run "
     "the command again",
     false},
    {MDPHONE_ERR_SERVICE_REFUSED, kExitServiceRefused,
     "the phone refused to start its sync service: unlock it, unplug it and plug "
     "it in again, then run the command again",
     false},
    {MDPHONE_ERR_TLS_FAILED, kExitTlsFailed,
     "the secure connection to the phone failed: renew this computer's pairing "
     "with `veldrake pair`, then run the command again",
     false},
    {MDPHONE_ERR_CONNECTION_LOST, kExitConnectionLost,
     "the phone went away during the export; nothing was written: plug it in, "
     "keep it unlocked, and run the command again",
     false},
    {MDPHONE_ERR_PAIRING_PENDING, kExitPairingPending,
     "the phone asks whether to trust this computer: unlock it, tap Trust, then "
     "run `veldrake pair` again",
     false},
    {MDPHONE_ERR_SETTING_REFUSED, kExitSettingRefused,
     "the phone refused to change the setting: unlock it, check that no "
     "device management profile forbids sync with a computer, and try again",
     false},
    {MDPHONE_ERR_PAIRING_DENIED, kExitPairingDenied,
     "the phone was told not to trust this computer: unplug it, plug it in "
     "again, run `veldrake pair` and tap Trust",
     false},
};

bool DescribePhoneError(int code, PhoneFailure* failure) {
  for (const PhoneAdvice& advice : kPhoneAdvice) {
    if (advice.code != code) continue;
    std::string message = advice.message;
    if (advice.listAttached) message += " (attached: " + AttachedList() + ")";
    *failure = {advice.status, message};
    return true;
  }
  return false;
}

bool ChooseDefaultDevice(std::string* endpoint, std::string* notice, PhoneFailure* failure) {
  endpoint->clear();
  std::vector<mdphone_info> phones;
  const int listed = ListPhones(&phones);
  if (listed != 0 || phones.empty()) {
    // Never the samples in a phone's place: a person would take them for their own book.
    DescribePhoneError(listed != 0 ? MDPHONE_ERR_NO_DAEMON : MDPHONE_ERR_NO_DEVICE, failure);
    failure->message += "; to try veldrake without a phone: --device sample";
    return false;
  }
  const mdphone_info* chosen = nullptr;
  int trusted = 0;
  for (const mdphone_info& phone : phones) {
    if (phone.trusted != MDPHONE_YES) continue;
    ++trusted;
    chosen = &phone;
  }
  if (trusted == 1) {
    *notice = "exporting " + PhoneLabel(*chosen);
    *endpoint = kUsbPrefix + std::string(chosen->udid);
    return true;
  }
  return !DescribePhoneError(trusted == 0 ? MDPHONE_ERR_NOT_PAIRED : MDPHONE_ERR_SEVERAL_DEVICES,
                             failure);
}

PhoneExport::PhoneExport(bool contacts, const std::string& endpoint)
    : contacts_(contacts), udid_(PhoneUdid(endpoint)) {}

bool PhoneExport::Check(PhoneFailure* failure) {
  // A phone that cannot be found stops the export too, with its own reason.
  known_ = FindPhone(udid_, &phone_);
  if (known_ && phone_.locked == MDPHONE_YES)
    return !DescribePhoneError(MDPHONE_ERR_PASSCODE_LOCKED, failure);
  if (!contacts_ || !known_ || phone_.contacts_sync != MDPHONE_NO) return true;
  *failure = {kExitContactSyncOff,
              "contact sync with a computer is off on " + PhoneName(phone_, known_) +
                  ", so it sends no contacts: turn it on with `veldrake enable-sync" +
                  DeviceOption(udid_) + "` (this changes a setting on the phone)"};
  return false;
}

bool PhoneExport::Explain(int result, const void* device, PhoneFailure* failure) const {
  if (DescribePhoneError(result, failure)) return true;
  const int reason = mdphone_last_error(device);
  if (DescribePhoneError(reason, failure)) return true;
  if (contacts_ || result != kVeldrakeConversationFailed || reason != 0) return false;
  *failure = {kExitNoNotesStore,
              PhoneName(phone_, known_) +
                  " keeps no notes for a computer to read (no notes store; since iOS 11 notes "
                  "live in iCloud or only on the phone): export them from a backup of the "
                  "phone (veldrake notes --backup PATH)"};
  return true;
}

std::string PhoneExport::Warning(size_t count) const {
  if (count != 0) return "";
  if (contacts_)
    return "warning: " + PhoneName(phone_, known_) +
           " sent no contacts: a phone whose contacts are kept in iCloud has none to sync "
           "with a computer; export them from iCloud.com, or from a backup of the phone "
           "(veldrake contacts --backup PATH)";
  if (known_ && std::atoi(phone_.version) >= kFirstVersionWithoutNotesStore)
    return "warning: " + PhoneName(phone_, known_) + " sent no notes: since iOS 11 notes " +
           "live in iCloud or only on the phone; export them from a backup of the phone " +
           "(veldrake notes --backup PATH)";
  return "";
}

}  // namespace host
