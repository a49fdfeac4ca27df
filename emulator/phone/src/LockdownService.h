// Lockdown, the phone's port 62078: 4-byte big-endian length and a property list per
// message; pairing, values, the TLS session and service start.
#ifndef DEVICESIM_PHONE_LOCKDOWNSERVICE_H_
#define DEVICESIM_PHONE_LOCKDOWNSERVICE_H_

#include <string>

#include "EmulatedPhone.h"

namespace devicesim {
namespace phone {

constexpr const char* kSyncService = "com.apple.mobilesync";
constexpr const char* kTetheredSyncDomain = "com.apple.mobile.tethered_sync";

// Serves lockdown requests on the tunnel `fd` until the client leaves or breaks the
// protocol. Does not close fd.
void ServeLockdown(int fd, EmulatedPhone& phone);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_LOCKDOWNSERVICE_H_
