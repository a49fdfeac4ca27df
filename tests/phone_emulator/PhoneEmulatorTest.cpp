// The emulated daemon and phones, driven in-process by libimobiledevice as the client
// (device lookup, lockdown, pairing, TLS session, service start and connection), with the
// sync conversation's frames sent through its service connection.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <libimobiledevice/libimobiledevice.h>
#include <libimobiledevice/lockdown.h>
#include <libimobiledevice/service.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
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

// One emulated daemon on a fresh socket, which libusbmuxd in this process then uses.
struct Daemon {
  std::string dir;
  std::unique_ptr<Usbmuxd> daemon;

  explicit Daemon(std::vector<PhoneConfig> phones) {
    // libimobiledevice writes to a phone that hung up with write(), as a host must expect.
    ::signal(SIGPIPE, SIG_IGN);
    char pattern[] = "/tmp/phone-emulator-XXXXXX";
    dir = ::mkdtemp(pattern);
    phone::UsbmuxdConfig config;
    config.endpoint = "unix:" + dir + "/usbmuxd.sock";
    config.phones = std::move(phones);
    NoteStore notes;
    notes.notes.push_back(Note{"Groceries", "milk", 0});
    daemon = std::make_unique<Usbmuxd>(config, Book(), notes);
    std::string error;
    EXPECT_TRUE(daemon->start(&error)) << error;
    ::setenv("USBMUXD_SOCKET_ADDRESS", daemon->socketAddress().c_str(), 1);
  }
  ~Daemon() {
    daemon->stop();
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
      // Without TLS there is no handshake to break.
      EXPECT_EQ(!tls, client.startService() && client.ask(SyncMessage::M2).has_value());
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
