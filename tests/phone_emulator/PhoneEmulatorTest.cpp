// The emulated daemon and phones, driven in-process by libimobiledevice as the client
// (device lookup, lockdown, pairing, TLS session, service start and connection), with the
// sync conversation's frames sent through its service connection, and by the test's own
// OpenSSL client for the TLS handshakes a current phone refuses.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libimobiledevice/libimobiledevice.h>
#include <libimobiledevice/lockdown.h>
#include <libimobiledevice/service.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Messages.h"
#include "devicesim/phone/Usbmuxd.h"

using namespace devicesim;
using devicesim::phone::PhoneConfig;
using devicesim::phone::TrustDialog;
using devicesim::phone::Usbmuxd;

namespace {

constexpr unsigned kTimeoutMs = 5000;
constexpr uint16_t kLockdownPort = 62078;
constexpr const char* kLabel = "phone_emulator_test";
const std::string kUdid = PhoneConfig{}.udid;

AddressBook Book() {
  AddressBook book;
  Person person;
  person.id = 1;
  person.firstName = "Ada";
  person.lastName = "Lovelace";
  book.people.push_back(person);
  return book;
}

// Every daemon of the tests uses the fixed credentials checked in beside them.
phone::UsbmuxdConfig ConfigAt(const std::string& path, std::vector<PhoneConfig> phones) {
  phone::UsbmuxdConfig config;
  config.endpoint = "unix:" + path;
  config.phones = std::move(phones);
  config.credentialsFile =
      std::string(::getenv("VELDRAKE_SOURCE_DIR")) + "/tests/common/data/phone-credentials.pem";
  return config;
}

std::unique_ptr<Usbmuxd> NewDaemon(phone::UsbmuxdConfig config) {
  NoteStore notes;
  Note groceries;
  groceries.subject = "Groceries";
  groceries.content = "milk";
  notes.notes.push_back(groceries);
  return std::make_unique<Usbmuxd>(std::move(config), Book(), notes);
}

// One emulated daemon on a fresh socket, which libusbmuxd in this process then uses.
struct Daemon {
  std::string dir, path;
  std::unique_ptr<Usbmuxd> daemon;

  explicit Daemon(std::vector<PhoneConfig> phones) {
    // libimobiledevice writes to a phone that hung up with write(), as a host must expect.
    ::signal(SIGPIPE, SIG_IGN);
    char pattern[] = "/tmp/phone-emulator-XXXXXX";
    dir = ::mkdtemp(pattern);
    path = dir + "/usbmuxd.sock";
    daemon = NewDaemon(ConfigAt(path, std::move(phones)));
    std::string error;
    EXPECT_TRUE(daemon->start(&error)) << error;
    ::setenv("USBMUXD_SOCKET_ADDRESS", daemon->socketAddress().c_str(), 1);
  }
  ~Daemon() {
    daemon->stop();
    ::unlink(path.c_str());  // a file the test left there in the daemon's place
    ::rmdir(dir.c_str());
  }
};

// The client's side: device, lockdown with a session, and (optionally) the sync service.
struct Client {
  idevice_t device = nullptr;
  lockdownd_client_t lockdown = nullptr;
  lockdownd_error_t handshake = LOCKDOWN_E_UNKNOWN_ERROR;
  lockdownd_error_t serviceStart = LOCKDOWN_E_UNKNOWN_ERROR;
  lockdownd_service_descriptor_t descriptor = nullptr;
  service_client_t service = nullptr;

  explicit Client(const std::string& udid = kUdid) {
    if (idevice_new_with_options(&device, udid.c_str(), IDEVICE_LOOKUP_USBMUX) != IDEVICE_E_SUCCESS)
      return;
    handshake = lockdownd_client_new_with_handshake(device, &lockdown, kLabel);
  }
  bool startService() {
    if (handshake != LOCKDOWN_E_SUCCESS) return false;
    serviceStart = lockdownd_start_service(lockdown, "com.apple.mobilesync", &descriptor);
    return serviceStart == LOCKDOWN_E_SUCCESS &&
           service_client_new(device, descriptor, &service) == SERVICE_E_SUCCESS;
  }
  // Sends one message of the conversation and reads one frame; nullopt when the phone
  // closed instead.
  std::optional<std::string> ask(SyncMessage message) {
    std::string payload;
    BuildMessage(message, payload);
    const uint32_t length = htonl(static_cast<uint32_t>(payload.size()));
    uint32_t sent = 0;
    service_send(service, reinterpret_cast<const char*>(&length), sizeof length, &sent);
    service_send(service, payload.data(), static_cast<uint32_t>(payload.size()), &sent);
    uint32_t replyLength = 0;
    if (!readExact(&replyLength, sizeof replyLength)) return std::nullopt;
    std::string reply(ntohl(replyLength), '\0');
    if (!reply.empty() && !readExact(&reply[0], reply.size())) return std::nullopt;
    return reply;
  }
  bool readExact(void* buffer, size_t size) {
    char* out = static_cast<char*>(buffer);
    while (size > 0) {
      uint32_t got = 0;
      if (service_receive_with_timeout(service, out, static_cast<uint32_t>(size), &got,
                                       kTimeoutMs) != SERVICE_E_SUCCESS ||
          got == 0)
        return false;
      out += got;
      size -= got;
    }
    return true;
  }
  ~Client() {
    if (service) service_client_free(service);
    if (descriptor) lockdownd_service_descriptor_free(descriptor);
    if (lockdown) lockdownd_client_free(lockdown);
    if (device) idevice_free(device);
  }
};

bool Names(const std::optional<std::string>& reply, const std::string& text) {
  return reply && reply->find(text) != std::string::npos;
}

int AttachedCount() {
  char** udids = nullptr;
  int count = 0;
  if (idevice_get_device_list(&udids, &count) != IDEVICE_E_SUCCESS) return -1;
  idevice_device_list_free(udids);
  return count;
}

// A TLS client with the versions and signatures of one kind of host, for the handshakes
// a current phone must refuse.
struct TlsClient {
  const char* name;
  int minVersion, maxVersion;
  const char* signatures;  // null: OpenSSL's defaults
  bool strictPhoneAccepts;
};

const TlsClient kTlsClients[] = {
    {"TLS 1.0", TLS1_VERSION, TLS1_VERSION, nullptr, false},
    {"TLS 1.1", TLS1_1_VERSION, TLS1_1_VERSION, nullptr, false},
    {"TLS 1.2 offering only SHA-1 signatures", TLS1_2_VERSION, TLS1_2_VERSION, "RSA+SHA1", false},
    {"TLS 1.2", TLS1_2_VERSION, TLS1_2_VERSION, nullptr, true},
    {"TLS 1.3", TLS1_3_VERSION, TLS1_3_VERSION, nullptr, true},
};
const TlsClient& kModernClient = kTlsClients[3];

// A phone's port reached through libusbmuxd, spoken to by hand: lockdown's framed property
// lists, in plain bytes or over a TLS session the test's own OpenSSL client negotiates.
class Tunnel {
 public:
  Tunnel(idevice_t device, uint16_t port) {
    if (idevice_connect(device, port, &connection_) != IDEVICE_E_SUCCESS) return;
    idevice_connection_get_fd(connection_, &fd_);
    // libusbmuxd hands the tunnel over non-blocking; this client waits, with a limit.
    ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) & ~O_NONBLOCK);
    const timeval timeout{kTimeoutMs / 1000, 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  }
  ~Tunnel() {
    SSL_free(ssl_);
    if (connection_) idevice_disconnect(connection_);
  }
  bool handshake(const TlsClient& client) {
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_client_method()),
                                                              SSL_CTX_free);
    SSL_CTX_set_security_level(context.get(), 0);  // let the client offer what old hosts did
    SSL_CTX_set_min_proto_version(context.get(), client.minVersion);
    SSL_CTX_set_max_proto_version(context.get(), client.maxVersion);
    if (client.signatures) SSL_CTX_set1_sigalgs_list(context.get(), client.signatures);
    ssl_ = SSL_new(context.get());
    SSL_set_fd(ssl_, fd_);
    return SSL_connect(ssl_) == 1;
  }
  // One request, one reply; null when the phone hung up or sent no property list.
  plist_t ask(plist_t request) {
    char* xml = nullptr;
    uint32_t size = 0;
    plist_to_xml(request, &xml, &size);
    plist_free(request);
    const uint32_t length = htonl(size);
    const bool sent = write(&length, sizeof length) && write(xml, size);
    plist_to_xml_free(xml);
    uint32_t replyLength = 0;
    if (!sent || !read(&replyLength, sizeof replyLength)) return nullptr;
    std::string reply(ntohl(replyLength), '\0');
    if (reply.empty() || !read(&reply[0], reply.size())) return nullptr;
    plist_t parsed = nullptr;
    plist_from_memory(reply.data(), static_cast<uint32_t>(reply.size()), &parsed);
    return parsed;
  }

 private:
  bool write(const void* data, size_t size) {
    if (ssl_) return SSL_write(ssl_, data, static_cast<int>(size)) == static_cast<int>(size);
    return ::send(fd_, data, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
  }
  bool read(void* buffer, size_t size) {
    char* out = static_cast<char*>(buffer);
    for (size_t got = 0; got < size;) {
      const long n = ssl_ ? SSL_read(ssl_, out + got, static_cast<int>(size - got))
                          : ::recv(fd_, out + got, size - got, 0);
      if (n <= 0) return false;
      got += static_cast<size_t>(n);
    }
    return true;
  }
  idevice_connection_t connection_ = nullptr;
  int fd_ = -1;
  SSL* ssl_ = nullptr;
};

plist_t Request(const char* name, const char* key = nullptr, const char* value = nullptr) {
  plist_t request = plist_new_dict();
  plist_dict_set_item(request, "Request", plist_new_string(name));
  if (key) plist_dict_set_item(request, key, plist_new_string(value));
  return request;
}

// Pairs as host `hostId` and asks for a session; true when the phone then expects TLS.
bool StartSession(Tunnel& lockdown, const char* hostId) {
  plist_t pair = Request("Pair");
  plist_t record = plist_new_dict();
  plist_dict_set_item(record, "HostID", plist_new_string(hostId));
  plist_dict_set_item(pair, "PairRecord", record);
  plist_free(lockdown.ask(pair));
  plist_t reply = lockdown.ask(Request("StartSession", "HostID", hostId));
  const bool tls = reply && plist_dict_get_item(reply, "EnableSessionSSL");
  plist_free(reply);
  return tls;
}

// The port of a sync service started in a session that `client` negotiated; 0 on failure.
uint16_t StartServiceOver(idevice_t device, const TlsClient& client) {
  Tunnel lockdown(device, kLockdownPort);
  if (!StartSession(lockdown, "TLS-TEST-HOST") || !lockdown.handshake(client)) return 0;
  plist_t reply = lockdown.ask(Request("StartService", "Service", "com.apple.mobilesync"));
  plist_t port = reply ? plist_dict_get_item(reply, "Port") : nullptr;
  uint64_t number = 0;
  if (port) plist_get_uint_val(port, &number);
  plist_free(reply);
  return static_cast<uint16_t>(number);
}

}  // namespace

// Each scripted lockdown state against what libimobiledevice reports for it.
TEST(PhoneEmulator, LockdownStatesGiveTheirErrors) {
  struct Case {
    const char* name;
    std::function<void(PhoneConfig&)> script;
    lockdownd_error_t handshake, serviceStart;
    bool pairRecordAfter;
  };
  const Case cases[] = {
      {"trusted", [](PhoneConfig&) {}, LOCKDOWN_E_SUCCESS, LOCKDOWN_E_SUCCESS, true},
      {"locked", [](PhoneConfig& p) { p.passcodeLocked = true; }, LOCKDOWN_E_SUCCESS,
       LOCKDOWN_E_PASSWORD_PROTECTED, true},
      {"refused", [](PhoneConfig& p) { p.serviceRefused = true; }, LOCKDOWN_E_SUCCESS,
       LOCKDOWN_E_SERVICE_PROHIBITED, true},
      {"tls failure", [](PhoneConfig& p) { p.sessionTlsFailure = true; }, LOCKDOWN_E_SSL_ERROR,
       LOCKDOWN_E_UNKNOWN_ERROR, true},
      {"untrusted, accepted", [](PhoneConfig& p) { p.trusted = false; }, LOCKDOWN_E_SUCCESS,
       LOCKDOWN_E_SUCCESS, true},
      {"untrusted, dialog pending",
       [](PhoneConfig& p) { p.trusted = false, p.trustDialog = TrustDialog::Pending; },
       LOCKDOWN_E_PAIRING_DIALOG_RESPONSE_PENDING, LOCKDOWN_E_UNKNOWN_ERROR, false},
      {"untrusted, denied",
       [](PhoneConfig& p) { p.trusted = false, p.trustDialog = TrustDialog::Deny; },
       LOCKDOWN_E_USER_DENIED_PAIRING, LOCKDOWN_E_UNKNOWN_ERROR, false},
      {"untrusted and locked", [](PhoneConfig& p) { p.trusted = false, p.passcodeLocked = true; },
       LOCKDOWN_E_PASSWORD_PROTECTED, LOCKDOWN_E_UNKNOWN_ERROR, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    PhoneConfig config;
    c.script(config);
    Daemon daemon({config});
    Client client;
    EXPECT_EQ(c.handshake, client.handshake);
    client.startService();
    EXPECT_EQ(c.serviceStart, client.serviceStart);
    EXPECT_EQ(c.pairRecordAfter, daemon.daemon->hasPairRecord(kUdid));
  }
}

// The sync conversation through the phone's service, with and without TLS, in each state
// that changes what it answers.
TEST(PhoneEmulator, ServiceStatesShapeTheConversation) {
  for (bool tls : {true, false}) {
    SCOPED_TRACE(tls ? "service TLS" : "plain service");
    PhoneConfig normal, icloud, syncOff, noNotes;
    for (PhoneConfig* p : {&normal, &icloud, &syncOff, &noNotes}) p->serviceTls = tls;
    icloud.contactsInICloud = true;
    syncOff.contactSyncDisabled = true;
    noNotes.noNotesStore = true;
    {
      Daemon daemon({normal});
      Client client;
      ASSERT_TRUE(client.startService());
      EXPECT_TRUE(Names(client.ask(SyncMessage::M2), "DLMessageVersionExchange"));
      EXPECT_TRUE(Names(client.ask(SyncMessage::M4), "SDMessageSyncDataClassWithComputer"));
      EXPECT_TRUE(Names(client.ask(SyncMessage::M6), "Lovelace"));
    }
    {
      PhoneConfig broken = normal;
      broken.serviceTlsFailure = true;
      Daemon daemon({broken});
      Client client;
      // Without TLS there is no handshake to break. libimobiledevice ignores a failed
      // service handshake, so the test looks for the conversation itself.
      EXPECT_EQ(!tls, client.startService() &&
                          Names(client.ask(SyncMessage::M2), "DLMessageVersionExchange"));
    }
    {
      Daemon daemon({icloud});
      Client client;
      ASSERT_TRUE(client.startService());
      client.ask(SyncMessage::M2);
      client.ask(SyncMessage::M4);
      EXPECT_EQ(EndReply("com.apple.Contacts"), client.ask(SyncMessage::M6).value_or(""));
    }
    {
      Daemon daemon({syncOff});
      Client client;
      ASSERT_TRUE(client.startService());
      EXPECT_TRUE(Names(client.ask(SyncMessage::M2), "DLMessageVersionExchange"));
      EXPECT_FALSE(client.ask(SyncMessage::M4).has_value());
    }
    {
      Daemon daemon({noNotes});
      Client client;
      ASSERT_TRUE(client.startService());
      EXPECT_TRUE(Names(client.ask(SyncMessage::M1), "DLMessageVersionExchange"));
      EXPECT_TRUE(Names(client.ask(SyncMessage::M5), "No Data Store available for data class"));
      EXPECT_FALSE(client.ask(SyncMessage::M7).has_value());
    }
  }
}

// Contact sync turned off is visible in lockdown and can be turned on in a session.
TEST(PhoneEmulator, TetheredContactSyncCanBeTurnedOn) {
  PhoneConfig config;
  config.contactSyncDisabled = true;
  Daemon daemon({config});
  auto disabled = [] {
    Client client;
    plist_t value = nullptr;
    lockdownd_get_value(client.lockdown, "com.apple.mobile.tethered_sync", "Contacts", &value);
    uint8_t flag = 2;
    plist_t item = value ? plist_dict_get_item(value, "DisableTethered") : nullptr;
    if (item) plist_get_bool_val(item, &flag);
    plist_free(value);
    return flag;
  };
  EXPECT_EQ(1, disabled());
  {
    Client client;
    plist_t value = plist_new_dict();
    plist_dict_set_item(value, "DisableTethered", plist_new_bool(0));
    EXPECT_EQ(
        LOCKDOWN_E_SUCCESS,
        lockdownd_set_value(client.lockdown, "com.apple.mobile.tethered_sync", "Contacts", value));
  }
  EXPECT_EQ(0, disabled());
  Client client;
  ASSERT_TRUE(client.startService());
  client.ask(SyncMessage::M2);
  EXPECT_TRUE(Names(client.ask(SyncMessage::M4), "SDMessageSyncDataClassWithComputer"));
}

// Two phones are listed; unplugging one mid-conversation ends its service connection,
// tells listeners, and leaves the other.
TEST(PhoneEmulator, DetachInTheMiddleOfAConversation) {
  PhoneConfig first;
  // The version reply's frame goes out whole, the sync reply's only in part.
  first.detachAfterBytes = static_cast<int64_t>(sizeof(uint32_t) + VersionReply().size() + 10);
  Daemon daemon({first, phone::ExtraPhone(1)});
  EXPECT_EQ(2, AttachedCount());
  static std::atomic<int> removed{0};
  removed = 0;
  idevice_event_subscribe(
      [](const idevice_event_t* event, void*) {
        if (event->event == IDEVICE_DEVICE_REMOVE) ++removed;
      },
      nullptr);
  Client client;
  ASSERT_TRUE(client.startService());
  EXPECT_TRUE(client.ask(SyncMessage::M2).has_value());
  EXPECT_FALSE(client.ask(SyncMessage::M4).has_value());
  for (int i = 0; i < 100 && removed == 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  idevice_event_unsubscribe();
  EXPECT_EQ(1, removed.load());
  EXPECT_EQ(1, AttachedCount());
  Client second(phone::ExtraPhone(1).udid);
  EXPECT_EQ(LOCKDOWN_E_SUCCESS, second.handshake);
}

// Hostile bytes on the daemon's socket and on a lockdown tunnel end those connections
// only; the daemon keeps serving.
TEST(PhoneEmulator, GarbageEndsOnlyItsConnection) {
  Daemon daemon({PhoneConfig{}});
  const std::string path = daemon.daemon->endpoint().substr(5);
  auto raw = [&](const std::string& bytes) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    char sink[256];
    while (::recv(fd, sink, sizeof sink, 0) > 0) {
    }
    ::close(fd);
  };
  auto header = [](uint32_t length, uint32_t version, uint32_t type) {
    const uint32_t words[4] = {length, version, type, 7};
    return std::string(reinterpret_cast<const char*>(words), sizeof words);
  };
  raw(header(0xffffffffu, 1, 8));
  raw(header(3, 1, 8));
  raw(header(16 + 5, 1, 8) + "<xml>");
  raw(header(16 + 4, 0, 3) + "abcd");
  const std::string connect =
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>MessageType</key>"
      "<string>Connect</string><key>DeviceID</key><integer>1</integer><key>PortNumber</key>"
      "<integer>32498</integer></dict></plist>";  // 62078 in network byte order
  raw(header(static_cast<uint32_t>(16 + connect.size()), 1, 8) + connect +
      std::string("\x7f\xff\xff\xff", 4) + "tail");
  raw(header(static_cast<uint32_t>(16 + connect.size()), 1, 8) + connect +
      std::string("\0\0\0\x05", 4) + "<a/>x");
  EXPECT_EQ(1, AttachedCount());
  EXPECT_EQ(LOCKDOWN_E_SUCCESS, Client().handshake);
}

// A current phone's lockdown session and sync service refuse TLS 1.0/1.1 and SHA-1-only
// handshakes; an old phone (oldTls) takes every one of them.
TEST(PhoneEmulator, TlsRefusesWhatACurrentPhoneRefuses) {
  for (bool oldTls : {false, true}) {
    PhoneConfig config;
    config.trusted = false;  // each tunnel pairs with its own host ID first
    config.oldTls = oldTls;
    Daemon daemon({config});
    idevice_t device = nullptr;
    ASSERT_EQ(IDEVICE_E_SUCCESS,
              idevice_new_with_options(&device, kUdid.c_str(), IDEVICE_LOOKUP_USBMUX));
    for (const TlsClient& client : kTlsClients) {
      SCOPED_TRACE(std::string(client.name) + (oldTls ? " against an old phone" : ""));
      const bool accepted = oldTls || client.strictPhoneAccepts;
      Tunnel lockdown(device, kLockdownPort);
      ASSERT_TRUE(StartSession(lockdown, client.name));
      EXPECT_EQ(accepted, lockdown.handshake(client));
      const uint16_t port = StartServiceOver(device, kModernClient);
      ASSERT_NE(0, port);
      Tunnel service(device, port);
      EXPECT_EQ(accepted, service.handshake(client));
    }
    idevice_free(device);
  }
}

// A daemon never takes a path another daemon answers on, replaces a stale socket file,
// and removes at its end only the socket file it made.
TEST(PhoneEmulator, SocketPathBelongsToItsLiveDaemon) {
  Daemon first({PhoneConfig{}});
  std::string error;
  auto second = NewDaemon(ConfigAt(first.path, {PhoneConfig{}}));
  EXPECT_FALSE(second->start(&error));
  EXPECT_NE(std::string::npos, error.find("served by another running daemon")) << error;
  EXPECT_EQ(1, AttachedCount());

  // Someone removed the first daemon's file and a third daemon serves the path now.
  ::unlink(first.path.c_str());
  auto third = NewDaemon(ConfigAt(first.path, {PhoneConfig{}, phone::ExtraPhone(1)}));
  ASSERT_TRUE(third->start(&error)) << error;
  first.daemon->stop();
  EXPECT_EQ(2, AttachedCount());
  third->stop();
  EXPECT_NE(0, ::access(first.path.c_str(), F_OK));

  // A socket file nobody listens on, as a crashed daemon leaves it.
  const int stale = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  first.path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(0, ::bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address));
  ::close(stale);
  auto fourth = NewDaemon(ConfigAt(first.path, {PhoneConfig{}}));
  EXPECT_TRUE(fourth->start(&error)) << error;
  EXPECT_EQ(1, AttachedCount());

  // A file that is no socket is the user's, not ours to replace.
  const std::string plain = first.dir + "/plain";
  ::close(::open(plain.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  EXPECT_FALSE(NewDaemon(ConfigAt(plain, {PhoneConfig{}}))->start(&error));
  EXPECT_NE(std::string::npos, error.find("is no socket")) << error;
  EXPECT_EQ(0, ::unlink(plain.c_str()));
}
