// Lockdown, the phone's port 62078: 4-byte big-endian length and a property list per
// message; pairing, values, the TLS session and service start.
#ifndef DEVICESIM_PHONE_LOCKDOWN_H_
#define DEVICESIM_PHONE_LOCKDOWN_H_

#include <string>

#include "Phone.h"

namespace devicesim {
namespace phone {

constexpr const char* kSyncService = "com.apple.mobilesync";
constexpr const char* kTetheredSyncDomain = "com.apple.mobile.tethered_sync";

// The phone's Wi-Fi address, also written into the pair records made for it.
std::string WiFiAddressOf(const Phone& phone);

// Serves lockdown requests on the tunnel `fd` until the client leaves or breaks the
// protocol. Does not close fd.
void ServeLockdown(int fd, Phone& phone);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_LOCKDOWN_H_
