// The control interface for real phones: what is attached, pairing, and the one sync
// setting a person may need changed. Each call opens its own lockdown connection.
#include <plist/plist.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "../QuietPipe.h"
#include "../StandIn.h"
#include "Link.h"
#include "MobileDevice/mdphone.h"
#include "Phone.h"

using mdsim::QuietPipe;
using mdsim::usb::Lockdown;

namespace {

const char kTetheredSyncDomain[] = "com.apple.mobile.tethered_sync";
const char kContactsKey[] = "Contacts";
const char kDisableKey[] = "DisableTethered";

template <size_t N>
void CopyCut(char (&field)[N], const std::string& text) {
  const size_t n = std::min(text.size(), N - 1);
  std::memcpy(field, text.data(), n);
  field[n] = '\0';
}

// Some OS versions keep the flag as a boolean, others as 0 or 1.
int ContactSyncOn(Lockdown& lockdown) {
  const plist_t contacts = lockdown.GetValue(kTetheredSyncDomain, kContactsKey);
  if (contacts == nullptr || plist_get_node_type(contacts) != PLIST_DICT) {
    plist_free(contacts);
    return MDPHONE_UNKNOWN;
  }
  int on = MDPHONE_YES;  // nothing turns it off
  const plist_t flag = plist_dict_get_item(contacts, kDisableKey);
  if (flag != nullptr && plist_get_node_type(flag) == PLIST_BOOLEAN) {
    uint8_t disabled = 0;
    plist_get_bool_val(flag, &disabled);
    on = disabled ? MDPHONE_NO : MDPHONE_YES;
  } else if (flag != nullptr && plist_get_node_type(flag) == PLIST_UINT) {
    uint64_t disabled = 0;
    plist_get_uint_val(flag, &disabled);
    on = disabled != 0 ? MDPHONE_NO : MDPHONE_YES;
  }
  plist_free(contacts);
  return on;
}

void Describe(const mdsim::usb::Attached& phone, mdphone_info& out) {
  std::memset(&out, 0, sizeof out);
  CopyCut(out.udid, phone.udid);
  out.network = phone.usb ? MDPHONE_NO : MDPHONE_YES;
  out.trusted = MDPHONE_NO;
  out.contacts_sync = MDPHONE_UNKNOWN;
  out.locked = MDPHONE_UNKNOWN;
  Lockdown lockdown;
  if (lockdown.Open(phone.udid) != 0) return;
  if (lockdown.ReadHostId() && lockdown.StartSession() == 0) out.trusted = MDPHONE_YES;
  out.locked = lockdown.Locked();
  // An untrusted phone still tells some values; those it keeps back stay empty.
  CopyCut(out.name, lockdown.StringValue(nullptr, "DeviceName"));
  CopyCut(out.model, lockdown.StringValue(nullptr, "ProductType"));
  CopyCut(out.version, lockdown.StringValue(nullptr, "ProductVersion"));
  if (out.trusted == MDPHONE_YES) out.contacts_sync = ContactSyncOn(lockdown);
}

int PairCode(lockdownd_error_t error) {
  return mdsim::usb::CodeOf(error, MDPHONE_ERR_NOT_PAIRED);
}

}  // namespace

MDSIM_EXPORT int mdphone_list(mdphone_info* out, int capacity) {
  QuietPipe quiet;
  std::vector<mdsim::usb::Attached> phones;
  if (!mdsim::usb::ListAttached(phones)) return MDPHONE_ERR_NO_DAEMON;
  const size_t described =
      out == nullptr ? 0 : std::min(phones.size(), size_t(std::max(capacity, 0)));
  for (size_t i = 0; i < described; ++i) Describe(phones[i], out[i]);
  return static_cast<int>(phones.size());
}

MDSIM_EXPORT int mdphone_describe(const char* udid, mdphone_info* out) {
  QuietPipe quiet;
  std::vector<mdsim::usb::Attached> phones;
  if (!mdsim::usb::ListAttached(phones)) return MDPHONE_ERR_NO_DAEMON;
  if (phones.empty()) return MDPHONE_ERR_NO_DEVICE;
  const bool any = udid == nullptr || *udid == '\0';
  if (any && phones.size() > 1) return MDPHONE_ERR_SEVERAL_DEVICES;
  for (const mdsim::usb::Attached& phone : phones) {
    if (!any && phone.udid != udid) continue;
    if (out != nullptr) Describe(phone, *out);
    return 0;
  }
  return MDPHONE_ERR_UDID_NOT_FOUND;
}

// 0 when this computer's pair record opens a session on the phone; otherwise why not.
int Validate(const std::string& udid) {
  Lockdown lockdown;
  const int opened = lockdown.Open(udid);
  if (opened != 0) return opened;
  if (!lockdown.ReadHostId()) return MDPHONE_ERR_NOT_PAIRED;
  return lockdown.StartSession();
}

MDSIM_EXPORT int mdphone_pair(const char* udid) {
  QuietPipe quiet;
  // A phone that trusts this computer already is not asked again: the person would see a
  // needless Trust prompt and type the passcode for nothing.
  const int valid = Validate(udid == nullptr ? "" : udid);
  if (valid == 0) return MDPHONE_ALREADY_PAIRED;
  if (valid != MDPHONE_ERR_NOT_PAIRED) return valid;
  Lockdown lockdown;
  const int opened = lockdown.Open(udid == nullptr ? "" : udid);
  if (opened != 0) return opened;
  // The new record goes to the daemon, which keeps it for every client of this computer.
  return PairCode(lockdownd_pair(lockdown.client(), nullptr));
}

MDSIM_EXPORT int mdphone_enable_contact_sync(const char* udid) {
  QuietPipe quiet;
  Lockdown lockdown;
  const int opened = lockdown.Open(udid == nullptr ? "" : udid);
  if (opened != 0) return opened;
  if (!lockdown.ReadHostId()) return MDPHONE_ERR_NOT_PAIRED;
  const int session = lockdown.StartSession();
  if (session != 0) return session;
  // Only the flag changes; whatever else the phone keeps beside it is written back as is.
  plist_t contacts = lockdown.GetValue(kTetheredSyncDomain, kContactsKey);
  if (contacts == nullptr || plist_get_node_type(contacts) != PLIST_DICT) {
    plist_free(contacts);
    contacts = plist_new_dict();
  }
  plist_dict_set_item(contacts, kDisableKey, plist_new_bool(0));
  const lockdownd_error_t set = lockdown.SetValue(kTetheredSyncDomain, kContactsKey, contacts);
  const int code = mdsim::usb::CodeOf(set, MDPHONE_ERR_SETTING_REFUSED);
  return mdsim::usb::BlameBroken(lockdown.udid(), code);
}

MDSIM_EXPORT int mdphone_probe_service(const char* udid, int* uses_tls) {
  QuietPipe quiet;
  // Started exactly as an export starts it, and closed again at once.
  mdsim::usb::Link link(udid == nullptr ? "" : udid, std::make_shared<mdsim::Outcome>());
  int result = link.Connect();
  if (result == 0) result = link.StartSession();
  std::unique_ptr<mdsim::DeviceStream> stream;
  bool tls = false;
  if (result == 0) result = link.StartService(mdsim::kSyncService, stream, &tls);
  if (result == 0 && uses_tls != nullptr) *uses_tls = tls ? 1 : 0;
  stream.reset();
  link.Disconnect();
  return result;
}
