// Finding attached phones and talking lockdown to one, through libimobiledevice. Pair
// records and the system BUID come from the daemon, never from files of this computer.
#include "Phone.h"

#include <plist/plist.h>
#include <usbmuxd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

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

sigset_t PipeOnly() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool PipePending() {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
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
  const lockdownd_error_t opened = lockdownd_client_new(raw, &client_, kLabel);
  if (opened != LOCKDOWN_E_SUCCESS) {
    client_ = nullptr;
    return CodeOf(opened, MDPHONE_ERR_CONNECTION_LOST);
  }
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
    return CodeOf(started, MDPHONE_ERR_NOT_PAIRED);
  }
  if (session_id_.empty()) session_id_ = host_id_;  // never seen; keeps the session stoppable
  return 0;
}

int Lockdown::StopSession() {
  if (!session_open()) return 0;
  const lockdownd_error_t stopped = lockdownd_stop_session(client_, session_id_.c_str());
  session_id_.clear();
  return CodeOf(stopped, MDPHONE_ERR_CONNECTION_LOST);
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

QuietPipe::QuietPipe() {
  const sigset_t pipe_only = PipeOnly();
  was_pending_ = PipePending();
  pthread_sigmask(SIG_BLOCK, &pipe_only, &saved_);
}

QuietPipe::~QuietPipe() {
  const sigset_t pipe_only = PipeOnly();
  if (!was_pending_ && PipePending()) {
    const struct timespec no_wait = {0, 0};
    while (sigtimedwait(&pipe_only, nullptr, &no_wait) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &saved_, nullptr);
}

}  // namespace usb
}  // namespace mdsim
