// The daemon's phones: made with their credentials and pair records, listed and found.
#include "PhoneTable.h"

namespace devicesim {
namespace phone {

bool PhoneTable::make(const std::vector<PhoneConfig>& configs, const std::string& credentialsFile,
                      std::string* error) {
  buid_ = NewIdentifier();
  PemCredentials fixed;
  const bool useFixed = !credentialsFile.empty();
  if (useFixed && !LoadCredentials(credentialsFile, &fixed, error)) return false;
  uint32_t deviceId = 0;
  for (const PhoneConfig& config : configs) {
    PemCredentials credentials = fixed;
    if (!useFixed && !CredentialsFor(deviceId, &credentials, error)) return false;
    SslContext tls = MakeServerContext(credentials.deviceCertificate, credentials.devicePrivateKey,
                                       config.oldTls);
    if (!tls) return *error = "TLS context for " + config.udid, false;
    auto phone = std::make_unique<EmulatedPhone>(config, ++deviceId, credentials, tls);
    if (config.trusted) {
      const std::string hostId = NewIdentifier();
      phone->trust(hostId);
      records_.save(config.udid, MakePairRecord(credentials, hostId, buid_, phone->wifiAddress()));
    }
    phones_.push_back(std::move(phone));
  }
  return true;
}

EmulatedPhone* PhoneTable::attached(uint32_t deviceId) const {
  for (const auto& phone : phones_)
    if (phone->deviceId() == deviceId && phone->attached()) return phone.get();
  return nullptr;
}

EmulatedPhone* PhoneTable::find(const std::string& udid) const {
  for (const auto& phone : phones_)
    if (phone->config().udid == udid) return phone.get();
  return nullptr;
}

std::vector<EmulatedPhone*> PhoneTable::attachedPhones() const {
  std::vector<EmulatedPhone*> found;
  for (const auto& phone : phones_)
    if (phone->attached()) found.push_back(phone.get());
  return found;
}

Plist PhoneTable::attachedMessage(const EmulatedPhone& phone) {
  constexpr uint64_t kHighSpeed = 480000000;
  constexpr uint64_t kAppleProductId = 0x12a8;
  constexpr uint64_t kLocationBase = 0x01100000;
  Plist properties = NewDict();
  plist_t props = properties.get();
  SetUint(props, "ConnectionSpeed", kHighSpeed);
  SetString(props, "ConnectionType", "USB");
  SetUint(props, "DeviceID", phone.deviceId());
  SetUint(props, "LocationID", kLocationBase + phone.deviceId());
  SetUint(props, "ProductID", kAppleProductId);
  SetString(props, "SerialNumber", phone.config().udid);
  Plist message = NewDict();
  SetString(message.get(), "MessageType", "Attached");
  SetUint(message.get(), "DeviceID", phone.deviceId());
  SetNode(message.get(), "Properties", std::move(properties));
  return message;
}

Plist PhoneTable::deviceList() const {
  Plist list(plist_new_array());
  for (const EmulatedPhone* phone : attachedPhones())
    plist_array_append_item(list.get(), attachedMessage(*phone).release());
  return list;
}

}  // namespace phone
}  // namespace devicesim
