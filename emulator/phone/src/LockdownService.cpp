// Lockdown on the phone's port 62078: values, pairing, the TLS session and service start.
#include "LockdownService.h"

#include <arpa/inet.h>

#include <cstdint>

#include "Plist.h"

namespace devicesim {
namespace phone {
namespace {

constexpr uint32_t kMaxMessage = 1 << 20;
constexpr const char* kQueryType = "com.apple.mobile.lockdown";
constexpr const char* kBuildVersion = "21B80";
constexpr const char* kProtocolVersion = "2";
const char* const kTetheredClasses[] = {"Bookmarks", "Calendars", "Contacts", "Notes"};

enum class After { Nothing, StartTls, EndTls, Close };

struct Session {
  bool active = false;
  std::string id;
};

Plist ReadMessage(Channel& channel) {
  uint32_t length = 0;
  if (!channel.readExact(&length, sizeof length)) return nullptr;
  length = ntohl(length);
  if (length == 0 || length > kMaxMessage) return nullptr;
  std::string payload(length, '\0');
  if (!channel.readExact(&payload[0], length)) return nullptr;
  return ParsePlist(payload);
}

bool WriteMessage(Channel& channel, plist_t message) {
  const std::string xml = ToXml(message);
  const uint32_t length = htonl(static_cast<uint32_t>(xml.size()));
  return channel.writeAll(&length, sizeof length) && channel.writeAll(xml.data(), xml.size());
}

Plist TetheredSyncValue(const EmulatedPhone& phone, const std::string& dataClass) {
  Plist value = NewDict();
  SetBool(value.get(), "DisableTethered", dataClass == "Contacts" && phone.contactSyncDisabled());
  return value;
}

// Every value of a domain: the ones an unpaired computer may read, and with a session the
// rest. Null for an unknown domain.
Plist DomainValues(const EmulatedPhone& phone, const std::string& domain, bool inSession) {
  const PhoneConfig& config = phone.config();
  Plist values = NewDict();
  plist_t dict = values.get();
  if (domain.empty()) {
    SetString(dict, "BuildVersion", kBuildVersion);
    SetString(dict, "DeviceClass", "iPhone");
    SetString(dict, "DeviceName", config.name);
    SetData(dict, "DevicePublicKey", phone.credentials().devicePublicKey);
    SetString(dict, "ProductName", "iPhone OS");
    SetString(dict, "ProductType", config.model);
    SetString(dict, "ProductVersion", config.version);
    SetString(dict, "ProtocolVersion", kProtocolVersion);
    SetString(dict, "UniqueDeviceID", config.udid);
    SetString(dict, "WiFiAddress", phone.wifiAddress());
    if (inSession) {
      SetString(dict, "ActivationState", "Activated");
      SetBool(dict, "PasswordProtected", config.passcodeLocked);
      SetString(dict, "SerialNumber", "EMU" + std::to_string(phone.deviceId()));
    }
    return values;
  }
  if (domain == kTetheredSyncDomain && inSession) {
    for (const char* dataClass : kTetheredClasses)
      SetNode(dict, dataClass, TetheredSyncValue(phone, dataClass));
    return values;
  }
  return nullptr;
}

void SetError(plist_t reply, const char* error) {
  SetString(reply, "Error", error);
}

void GetValue(plist_t request, plist_t reply, const EmulatedPhone& phone, const Session& session) {
  const std::string domain = StringAt(request, "Domain").value_or("");
  const std::optional<std::string> key = StringAt(request, "Key");
  if (!domain.empty()) SetString(reply, "Domain", domain);
  if (key) SetString(reply, "Key", *key);
  Plist values = DomainValues(phone, domain, session.active);
  if (!values) return SetError(reply, session.active ? "MissingValue" : "GetProhibited");
  if (!key) return SetNode(reply, "Value", std::move(values));
  plist_t item = plist_dict_get_item(values.get(), key->c_str());
  if (!item) {
    Plist everything = DomainValues(phone, domain, true);
    const bool known = everything && plist_dict_get_item(everything.get(), key->c_str());
    return SetError(reply, known ? "GetProhibited" : "MissingValue");
  }
  SetNode(reply, "Value", Plist(plist_copy(item)));
}

void SetValue(plist_t request, plist_t reply, EmulatedPhone& phone, const Session& session) {
  if (!session.active) return SetError(reply, "SessionInactive");
  const std::string domain = StringAt(request, "Domain").value_or("");
  const std::string key = StringAt(request, "Key").value_or("");
  plist_t value = DictAt(request, "Value");
  plist_t disable = value ? plist_dict_get_item(value, "DisableTethered") : nullptr;
  if (domain != kTetheredSyncDomain || key != "Contacts" || !disable)
    return SetError(reply, "SetProhibited");
  uint8_t flag = 0;
  if (plist_get_node_type(disable) == PLIST_BOOLEAN) {
    plist_get_bool_val(disable, &flag);
  } else if (plist_get_node_type(disable) == PLIST_UINT) {
    uint64_t number = 0;
    plist_get_uint_val(disable, &number);
    flag = number != 0;
  } else {
    return SetError(reply, "SetProhibited");
  }
  phone.setContactSyncDisabled(flag != 0);
}

std::string HostIdOf(plist_t request) {
  if (std::optional<std::string> direct = StringAt(request, "HostID")) return *direct;
  return StringAt(DictAt(request, "PairRecord"), "HostID").value_or("");
}

void Pair(plist_t request, plist_t reply, EmulatedPhone& phone) {
  const std::string hostId = HostIdOf(request);
  const PhoneConfig& config = phone.config();
  if (hostId.empty()) return SetError(reply, "InvalidPairRecord");
  if (config.passcodeLocked) return SetError(reply, "PasswordProtected");
  if (config.trustDialog == TrustDialog::Deny) return SetError(reply, "UserDeniedPairing");
  if (config.trustDialog == TrustDialog::Pending && !phone.dialogShownBefore())
    return SetError(reply, "PairingDialogResponsePending");
  phone.trust(hostId);
  SetData(reply, "EscrowBag", "escrow:" + config.udid);
}

After StartSession(plist_t request, plist_t reply, const EmulatedPhone& phone, Session& session) {
  const std::string hostId = StringAt(request, "HostID").value_or("");
  if (hostId.empty()) return SetError(reply, "MissingHostID"), After::Nothing;
  if (!phone.trusts(hostId)) return SetError(reply, "InvalidHostID"), After::Nothing;
  if (session.active) return SetError(reply, "SessionActive"), After::Nothing;
  session.active = true;
  session.id = "SESSION-" + std::to_string(phone.deviceId()) + "-" + hostId;
  SetString(reply, "SessionID", session.id);
  SetBool(reply, "EnableSessionSSL", true);
  return After::StartTls;
}

void StartService(plist_t request, plist_t reply, EmulatedPhone& phone, const Session& session) {
  const std::string service = StringAt(request, "Service").value_or("");
  SetString(reply, "Service", service);
  if (!session.active) return SetError(reply, "SessionInactive");
  if (phone.config().passcodeLocked) return SetError(reply, "PasswordProtected");
  if (service != kSyncService) return SetError(reply, "InvalidService");
  if (phone.config().serviceRefused) return SetError(reply, "ServiceProhibited");
  SetUint(reply, "Port", phone.openService());
  SetBool(reply, "EnableServiceSSL", phone.config().serviceTls);
}

After Handle(const std::string& name, plist_t request, plist_t reply, EmulatedPhone& phone,
             Session& session) {
  if (name == "QueryType") {
    SetString(reply, "Type", kQueryType);
  } else if (name == "GetValue") {
    GetValue(request, reply, phone, session);
  } else if (name == "SetValue") {
    SetValue(request, reply, phone, session);
  } else if (name == "Pair") {
    Pair(request, reply, phone);
  } else if (name == "ValidatePair") {
    if (!phone.trusts(HostIdOf(request))) SetError(reply, "InvalidHostID");
  } else if (name == "Unpair") {
    phone.forget(HostIdOf(request));
  } else if (name == "StartSession") {
    return StartSession(request, reply, phone, session);
  } else if (name == "StopSession") {
    if (!session.active) return SetError(reply, "SessionInactive"), After::Nothing;
    session = Session{};
    return After::EndTls;
  } else if (name == "StartService") {
    StartService(request, reply, phone, session);
  } else if (name == "Goodbye") {
    SetString(reply, "Result", "Success");
    return After::Close;
  } else {
    SetError(reply, "InvalidRequest");
  }
  return After::Nothing;
}

}  // namespace

void ServeLockdown(int fd, EmulatedPhone& phone) {
  Channel channel(fd);
  Session session;
  for (;;) {
    Plist request = ReadMessage(channel);
    if (!request || plist_get_node_type(request.get()) != PLIST_DICT) return;
    const std::string name = StringAt(request.get(), "Request").value_or("");
    Plist reply = NewDict();
    SetString(reply.get(), "Request", name);
    const After after = Handle(name, request.get(), reply.get(), phone, session);
    if (!WriteMessage(channel, reply.get())) return;
    if (after == After::Close) return;
    if (after == After::EndTls) channel.endTls();
    if (after == After::StartTls) {
      if (phone.config().sessionTlsFailure) return BreakHandshake(channel);
      if (!channel.acceptTls(phone.tls())) return;
    }
  }
}

}  // namespace phone
}  // namespace devicesim
