// Finding attached phones and talking lockdown to one, through libimobiledevice. Pair
// records and the system BUID come from the daemon, never from files of this computer.
#include "Phone.h"

#include <plist/plist.h>
#include <usbmuxd.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

#include "MobileDevice/mdphone.h"

namespace mdsim {
namespace usb {

namespace {

const char kLabel[] = "veldrake";
const char kHostIdKey[] = "HostID";

Attached* FindUdid(std::vector<Attached>& phones, const std::string& udid) {
  for (Attached& phone : phones) {
    if (phone.udid == udid) return &phone;
  }
  return nullptr;
}

std::string TakeString(char* text) {
  std::string copy = text == nullptr ? std::string() : std::string(text);
  std::free(text);
  return copy;
}

bool IsSocket(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode);
}

// Below this OS version libimobiledevice speaks TLS 1.0 whatever it knows of the phone.
constexpr int kModernTlsMajor = 10;

// A throwaway client made as libimobiledevice's tools make theirs: on the way it reads the
// phone's ProductVersion into the device handle, which every later TLS handshake on that
// handle consults (without it only TLS 1.0 and SHA-1 are offered). Only with a pair record
// at hand, since without one it would ask the phone to trust this computer, and only for a
// phone whose version needs it, since on phones before iOS 7 it validates the pairing.
void LearnVersion(idevice_t phone, const std::string& version) {
  if (std::atoi(version.c_str()) < kModernTlsMajor) return;
  lockdownd_client_t client = nullptr;
  if (lockdownd_client_new_with_handshake(phone, &client, kLabel) == LOCKDOWN_E_SUCCESS) {
    lockdownd_client_free(client);
  }
}

}  // namespace

bool ListAttached(std::vector<Attached>& out) {
  out.clear();
  idevice_info_t* list = nullptr;
  int count = 0;
  if (idevice_get_device_list_extended(&list, &count) != IDEVICE_E_SUCCESS) return false;
  for (int i = 0; i < count; ++i) {
    if (list[i] == nullptr || list[i]->udid == nullptr) continue;
    Attached* phone = FindUdid(out, list[i]->udid);
    if (phone == nullptr) {
      out.push_back(Attached{list[i]->udid, false, false});
      phone = &out.back();
    }
    (list[i]->conn_type == CONNECTION_NETWORK ? phone->network : phone->usb) = true;
  }
  idevice_device_list_extended_free(list);
  return true;
}

int PickAttached(const std::string& udid, Attached& out) {
  std::vector<Attached> phones;
  if (!ListAttached(phones)) return MDPHONE_ERR_NO_DAEMON;
  if (udid.empty()) {
    if (phones.empty()) return MDPHONE_ERR_NO_DEVICE;
    if (phones.size() > 1) return MDPHONE_ERR_SEVERAL_DEVICES;
    out = phones.front();
    return 0;
  }
  const Attached* phone = FindUdid(phones, udid);
  if (phone == nullptr) return MDPHONE_ERR_UDID_NOT_FOUND;
  out = *phone;
  return 0;
}

bool StillAttached(const std::string& udid) {
  usbmuxd_device_info_t info;
  const auto both =
      static_cast<enum usbmux_lookup_options>(DEVICE_LOOKUP_USBMUX | DEVICE_LOOKUP_NETWORK);
  return usbmuxd_get_device(udid.c_str(), &info, both) > 0;
}

int Blame(const std::string& udid, int code) {
  std::vector<Attached> phones;
  if (!ListAttached(phones)) return MDPHONE_ERR_NO_DAEMON;
  return FindUdid(phones, udid) == nullptr ? MDPHONE_ERR_CONNECTION_LOST : code;
}

int BlameBroken(const std::string& udid, int code) {
  const bool broken = code == MDPHONE_ERR_TLS_FAILED || code == MDPHONE_ERR_CONNECTION_LOST;
  return broken ? Blame(udid, code) : code;
}

std::vector<int> OpenDescriptors() {
  std::vector<int> open;
  DIR* listing = opendir("/proc/self/fd");
  if (listing == nullptr) return open;
  const int own = dirfd(listing);
  while (const struct dirent* entry = readdir(listing)) {
    char* end = nullptr;
    const long fd = std::strtol(entry->d_name, &end, 10);
    if (end != entry->d_name && *end == '\0' && fd != own) open.push_back(static_cast<int>(fd));
  }
  closedir(listing);
  std::sort(open.begin(), open.end());
  return open;
}

void MarkNewSocketsCloseOnExec(const std::vector<int>& before) {
  for (int fd : OpenDescriptors()) {
    if (std::binary_search(before.begin(), before.end(), fd) || !IsSocket(fd)) continue;
    const int flags = fcntl(fd, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) fcntl(fd, F_SETFD, flags | FD_CLOEXEC);
  }
}

int CodeOf(lockdownd_error_t error, int otherwise) {
  switch (error) {
    case LOCKDOWN_E_SUCCESS:
      return 0;
    case LOCKDOWN_E_PASSWORD_PROTECTED:
    case LOCKDOWN_E_ESCROW_LOCKED:
      return MDPHONE_ERR_PASSCODE_LOCKED;
    case LOCKDOWN_E_INVALID_HOST_ID:
    case LOCKDOWN_E_MISSING_HOST_ID:
    case LOCKDOWN_E_MISSING_PAIR_RECORD:
    case LOCKDOWN_E_INVALID_PAIR_RECORD:
    case LOCKDOWN_E_PAIRING_FAILED:
      return MDPHONE_ERR_NOT_PAIRED;
    case LOCKDOWN_E_USER_DENIED_PAIRING:
      return MDPHONE_ERR_PAIRING_DENIED;
    case LOCKDOWN_E_PAIRING_DIALOG_RESPONSE_PENDING:
      return MDPHONE_ERR_PAIRING_PENDING;
    case LOCKDOWN_E_SSL_ERROR:
      return MDPHONE_ERR_TLS_FAILED;
    case LOCKDOWN_E_MUX_ERROR:
    case LOCKDOWN_E_RECEIVE_TIMEOUT:
      return MDPHONE_ERR_CONNECTION_LOST;
    case LOCKDOWN_E_INVALID_SERVICE:
    case LOCKDOWN_E_MISSING_SERVICE:
    case LOCKDOWN_E_SERVICE_PROHIBITED:
    case LOCKDOWN_E_SERVICE_LIMIT:
      return MDPHONE_ERR_SERVICE_REFUSED;
    default:
      return otherwise;
  }
}

Lockdown::~Lockdown() {
  StopSession();
  if (client_ != nullptr) lockdownd_client_free(client_);
}

int Lockdown::Open(const std::string& udid) {
  Attached phone;
  const int picked = PickAttached(udid, phone);
  if (picked != 0) return picked;
  idevice_t raw = nullptr;
  const auto lookup = phone.usb ? IDEVICE_LOOKUP_USBMUX : IDEVICE_LOOKUP_NETWORK;
  if (idevice_new_with_options(&raw, phone.udid.c_str(), lookup) != IDEVICE_E_SUCCESS) {
    return MDPHONE_ERR_UDID_NOT_FOUND;  // gone between the list and the lookup
  }
  phone_ = PhonePtr(raw, [](idevice_t p) { idevice_free(p); });
  udid_ = phone.udid;
  network_ = !phone.usb;
  const std::vector<int> before = OpenDescriptors();
  const lockdownd_error_t opened = lockdownd_client_new(raw, &client_, kLabel);
  MarkNewSocketsCloseOnExec(before);
  if (opened != LOCKDOWN_E_SUCCESS) {
    client_ = nullptr;
    return BlameBroken(udid_, CodeOf(opened, MDPHONE_ERR_CONNECTION_LOST));
  }
  if (ReadHostId()) LearnVersion(raw, StringValue(nullptr, "ProductVersion"));
  return 0;
}

bool Lockdown::ReadHostId() {
  char* data = nullptr;
  uint32_t size = 0;
  if (usbmuxd_read_pair_record(udid_.c_str(), &data, &size) != 0 || data == nullptr) {
    std::free(data);
    return false;
  }
  plist_t record = nullptr;
  plist_from_memory(data, size, &record);
  std::free(data);
  const plist_t id = record == nullptr ? nullptr : plist_dict_get_item(record, kHostIdKey);
  char* text = nullptr;
  if (id != nullptr && plist_get_node_type(id) == PLIST_STRING) plist_get_string_val(id, &text);
  host_id_ = TakeString(text);
  plist_free(record);
  return !host_id_.empty();
}

int Lockdown::StartSession() {
  if (client_ == nullptr || host_id_.empty()) return MDPHONE_ERR_NOT_PAIRED;
  if (session_open()) return 0;
  char* id = nullptr;
  int tls = 0;
  const lockdownd_error_t started = lockdownd_start_session(client_, host_id_.c_str(), &id, &tls);
  session_id_ = TakeString(id);
  if (started != LOCKDOWN_E_SUCCESS) {
    session_id_.clear();
    // A daemon or phone that vanished mid-handshake is no reason to pair again.
    session_failure_ = BlameBroken(udid_, CodeOf(started, MDPHONE_ERR_NOT_PAIRED));
    return session_failure_;
  }
  if (session_id_.empty()) session_id_ = host_id_;  // never seen; keeps the session stoppable
  return 0;
}

int Lockdown::Locked() {
  if (session_failure_ == MDPHONE_ERR_PASSCODE_LOCKED) return MDPHONE_YES;
  if (!session_open()) return MDPHONE_UNKNOWN;
  const plist_t value = GetValue(nullptr, "PasswordProtected");
  uint8_t locked = 0;
  const bool known = value != nullptr && plist_get_node_type(value) == PLIST_BOOLEAN;
  if (known) plist_get_bool_val(value, &locked);
  plist_free(value);
  if (!known) return MDPHONE_UNKNOWN;
  return locked ? MDPHONE_YES : MDPHONE_NO;
}

int Lockdown::StopSession() {
  if (!session_open()) return 0;
  const lockdownd_error_t stopped = lockdownd_stop_session(client_, session_id_.c_str());
  session_id_.clear();
  return CodeOf(stopped, MDPHONE_ERR_CONNECTION_LOST);
}

std::string Lockdown::StringValue(const char* domain, const char* key) {
  const plist_t value = GetValue(domain, key);
  char* text = nullptr;
  if (value != nullptr && plist_get_node_type(value) == PLIST_STRING) {
    plist_get_string_val(value, &text);
  }
  plist_free(value);
  return TakeString(text);
}

plist_t Lockdown::GetValue(const char* domain, const char* key) {
  plist_t value = nullptr;
  if (client_ == nullptr ||
      lockdownd_get_value(client_, domain, key, &value) != LOCKDOWN_E_SUCCESS) {
    plist_free(value);
    return nullptr;
  }
  return value;
}

lockdownd_error_t Lockdown::SetValue(const char* domain, const char* key, plist_t value) {
  if (client_ == nullptr) {
    plist_free(value);
    return LOCKDOWN_E_INVALID_ARG;
  }
  return lockdownd_set_value(client_, domain, key, value);
}

}  // namespace usb
}  // namespace mdsim
