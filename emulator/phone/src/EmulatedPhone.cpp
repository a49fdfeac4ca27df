// One emulated phone's state: whom it trusts, its Trust dialog, the services it started.
#include "EmulatedPhone.h"

#include <cstdio>

namespace devicesim {
namespace phone {
namespace {

// Services listen on ports of the dynamic range, as the phone's own do.
constexpr uint16_t kFirstServicePort = 49152;
constexpr uint16_t kLastServicePort = 65000;

}  // namespace

EmulatedPhone::EmulatedPhone(PhoneConfig config, uint32_t deviceId, PemCredentials credentials,
                             SslContext tls)
    : config_(std::move(config)),
      deviceId_(deviceId),
      credentials_(std::move(credentials)),
      tls_(std::move(tls)),
      contactSyncDisabled_(config_.contactSyncDisabled),
      nextPort_(kFirstServicePort) {}

std::string EmulatedPhone::wifiAddress() const {
  char text[32];
  std::snprintf(text, sizeof text, "a4:c3:f0:%02x:%02x:%02x", (deviceId_ >> 16) & 0xff,
                (deviceId_ >> 8) & 0xff, deviceId_ & 0xff);
  return text;
}

bool EmulatedPhone::trusts(const std::string& hostId) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return trustedHosts_.count(hostId) != 0;
}

void EmulatedPhone::trust(const std::string& hostId) {
  std::lock_guard<std::mutex> lock(mutex_);
  trustedHosts_.insert(hostId);
}

void EmulatedPhone::forget(const std::string& hostId) {
  std::lock_guard<std::mutex> lock(mutex_);
  trustedHosts_.erase(hostId);
}

bool EmulatedPhone::dialogShownBefore() {
  std::lock_guard<std::mutex> lock(mutex_);
  const bool before = dialogShown_;
  dialogShown_ = true;
  return before;
}

uint16_t EmulatedPhone::openService() {
  std::lock_guard<std::mutex> lock(mutex_);
  const uint16_t port = nextPort_;
  nextPort_ = nextPort_ >= kLastServicePort ? kFirstServicePort : nextPort_ + 1;
  services_.insert(port);
  return port;
}

bool EmulatedPhone::takeService(uint16_t port) {
  std::lock_guard<std::mutex> lock(mutex_);
  return services_.erase(port) != 0;
}

}  // namespace phone
}  // namespace devicesim
