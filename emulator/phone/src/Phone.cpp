#include "Phone.h"

namespace devicesim {
namespace phone {
namespace {

// Services listen on ports of the dynamic range, as the phone's own do.
constexpr uint16_t kFirstServicePort = 49152;
constexpr uint16_t kLastServicePort = 65000;

}  // namespace

Phone::Phone(PhoneConfig config, uint32_t deviceId, PemCredentials credentials, SslContext tls)
    : config_(std::move(config)),
      deviceId_(deviceId),
      credentials_(std::move(credentials)),
      tls_(std::move(tls)),
      contactSyncDisabled_(config_.contactSyncDisabled),
      nextPort_(kFirstServicePort) {}

bool Phone::trusts(const std::string& hostId) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return trustedHosts_.count(hostId) != 0;
}

void Phone::trust(const std::string& hostId) {
  std::lock_guard<std::mutex> lock(mutex_);
  trustedHosts_.insert(hostId);
}

void Phone::forget(const std::string& hostId) {
  std::lock_guard<std::mutex> lock(mutex_);
  trustedHosts_.erase(hostId);
}

bool Phone::dialogShownBefore() {
  std::lock_guard<std::mutex> lock(mutex_);
  const bool before = dialogShown_;
  dialogShown_ = true;
  return before;
}

uint16_t Phone::openService() {
  std::lock_guard<std::mutex> lock(mutex_);
  const uint16_t port = nextPort_;
  nextPort_ = nextPort_ >= kLastServicePort ? kFirstServicePort : nextPort_ + 1;
  services_.insert(port);
  return port;
}

bool Phone::takeService(uint16_t port) {
  std::lock_guard<std::mutex> lock(mutex_);
  return services_.erase(port) != 0;
}

}  // namespace phone
}  // namespace devicesim
