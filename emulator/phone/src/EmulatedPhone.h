// One emulated phone: who it trusts, the services it has started, its settings, its
// credentials. Shared by the daemon's connection threads; every mutable part is guarded.
#ifndef DEVICESIM_PHONE_EMULATEDPHONE_H_
#define DEVICESIM_PHONE_EMULATEDPHONE_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "Certificates.h"
#include "Tls.h"
#include "devicesim/phone/PhoneConfig.h"

namespace devicesim {
namespace phone {

constexpr uint16_t kLockdownPort = 62078;

class EmulatedPhone {
 public:
  EmulatedPhone(PhoneConfig config, uint32_t deviceId, PemCredentials credentials, SslContext tls);

  const PhoneConfig& config() const { return config_; }
  uint32_t deviceId() const { return deviceId_; }
  const PemCredentials& credentials() const { return credentials_; }
  SSL_CTX* tls() const { return tls_.get(); }
  // Its Wi-Fi address, also written into the pair records made for it.
  std::string wifiAddress() const;

  bool trusts(const std::string& hostId) const;
  void trust(const std::string& hostId);
  void forget(const std::string& hostId);
  // Whether the Trust dialog has been shown before (and marks it shown).
  bool dialogShownBefore();

  // A service start: the port it listens on, for one connection.
  uint16_t openService();
  // Takes the service started on `port`, if any (a port serves one connection).
  bool takeService(uint16_t port);

  bool contactSyncDisabled() const { return contactSyncDisabled_; }
  void setContactSyncDisabled(bool disabled) { contactSyncDisabled_ = disabled; }

  // Connections made to the phone's lockdown port, for tests that count what a client opens.
  void countLockdownConnection() { ++lockdownConnections_; }
  int lockdownConnections() const { return lockdownConnections_; }

  bool attached() const { return !detached_; }
  // True for the one caller that detaches the phone.
  bool markDetached() { return !detached_.exchange(true); }

 private:
  const PhoneConfig config_;
  const uint32_t deviceId_;
  const PemCredentials credentials_;
  const SslContext tls_;
  std::atomic<bool> contactSyncDisabled_;
  std::atomic<bool> detached_{false};
  std::atomic<int> lockdownConnections_{0};
  mutable std::mutex mutex_;
  std::set<std::string> trustedHosts_;
  bool dialogShown_ = false;
  std::set<uint16_t> services_;
  uint16_t nextPort_;
};

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_EMULATEDPHONE_H_
