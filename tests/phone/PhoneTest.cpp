// Real phones through the usbmux daemon, played by the emulator: the same exports as over
// a plain socket, one code per thing a person can fix, a cancel and an unplug that come
// back promptly, and nothing left behind after many exports.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "EmulatedDaemon.h"
#include "MobileDevice/MobileDevice.h"
#include "MobileDevice/mdphone.h"
#include "MobileDevice/mdsim.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "devicesim/phone/Usbmuxd.h"
#include "veldrake/Session.h"

namespace {

namespace fs = std::filesystem;
using devicesim::phone::PhoneConfig;

constexpr size_t kPeople = 30;
constexpr size_t kNoteCount = 20;
constexpr size_t kBatch = 4;
constexpr uint32_t kSeed = 13;
constexpr auto kBound = std::chrono::seconds(10);

std::vector<std::string> gSeen;

std::string Text(const char* t) {
  return t ? t : "<null>";
}

int OnContact(void* record) {
  const auto* c = static_cast<const QX::Contact*>(record);
  gSeen.push_back(std::to_string(c->id) + "|" + Text(c->firstName) + "|" + Text(c->lastName) + "|" +
                  std::to_string(c->fields.size()) + "|" + std::to_string(c->addresses.size()));
  return 0;
}

int OnNote(void* record) {
  const auto* n = static_cast<const QX::Notes*>(record);
  gSeen.push_back(Text(n->subject) + "|" + Text(n->content) + "|" +
                  std::to_string(n->dateModified));
  return 0;
}

devicesim::DeviceOptions Batches() {
  devicesim::DeviceOptions options;
  options.batchSize = kBatch;
  return options;
}

std::string TempPath(const std::string& what) {
  static int counter = 0;
  return "/tmp/veldrake-phone-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + what;
}

// An emulated daemon with `phones` behind it, made the one libusbmuxd talks to.
class Daemon {
 public:
  explicit Daemon(std::vector<PhoneConfig> phones, devicesim::DeviceOptions options = Batches()) {
    devicesim::phone::UsbmuxdConfig config;
    config.endpoint = "unix:" + TempPath(".sock");
    config.phones = std::move(phones);
    // Fixed keys: no test run pays for RSA key generation.
    config.credentialsFile =
        std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/tests/common/data/phone-credentials.pem";
    daemon_ = std::make_unique<devicesim::phone::Usbmuxd>(
        config, devicesim::GenerateAddressBook(kPeople, kSeed),
        devicesim::GenerateNotes(kNoteCount, kSeed), options);
    std::string error;
    started_ = daemon_->start(&error);
    EXPECT_TRUE(started_) << error;
    setenv("USBMUXD_SOCKET_ADDRESS", daemon_->socketAddress().c_str(), 1);
  }
  devicesim::phone::Usbmuxd& operator*() { return *daemon_; }

 private:
  std::unique_ptr<devicesim::phone::Usbmuxd> daemon_;
  bool started_ = false;
};

PhoneConfig Phone(std::function<void(PhoneConfig&)> change = nullptr) {
  PhoneConfig phone;
  if (change) change(phone);
  return phone;
}

struct Outcome {
  int result = 0;
  int lastError = 0;
  long long bytes = 0;  // what the platform counted from the device
  std::vector<std::string> records;
};

// One export as a host runs it: GetData, the platform's reason, then the close.
Outcome Export(int kind, const std::string& endpoint) {
  gSeen.clear();
  void* device = mdsim_device_new(endpoint.c_str());
  EXPECT_NE(device, nullptr) << endpoint;
  Outcome run;
  run.result = GetData(kind, nullptr, device,
                       reinterpret_cast<void*>(kind == kVeldrakeContacts ? &OnContact : &OnNote));
  run.lastError = mdphone_last_error(device);
  run.bytes = mdsim_bytes_received(device);
  if (run.result != -1) DisContectDeviceAndProtocol();
  mdsim_device_free(device);
  run.records = gSeen;
  return run;
}

std::string UsbOf(const PhoneConfig& phone) {
  return "usb:" + phone.udid;
}

// What the listener's device side sent in its `nth` conversation (from 1). The listener
// records a conversation once the device has seen its end, which may come just after
// GetData returns.
long long SentBy(const devicesim::Listener& listener, size_t nth) {
  const auto deadline = std::chrono::steady_clock::now() + kBound;
  while (listener.transcripts().size() < nth && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const auto transcripts = listener.transcripts();
  return transcripts.size() < nth ? -1 : static_cast<long long>(transcripts[nth - 1].bytesSent);
}

class PhoneTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    // Whatever the platform layer wrote to this computer would land here.
    gHome = TempPath("-home");
    fs::create_directories(gHome);
    setenv("HOME", gHome.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (gHome + "/.config").c_str(), 1);
    gLockdownDirExisted = fs::exists("/var/lib/lockdown");
  }
  static void TearDownTestSuite() {
    EXPECT_TRUE(fs::is_empty(gHome)) << "the platform layer wrote under " << gHome;
    EXPECT_EQ(fs::exists("/var/lib/lockdown"), gLockdownDirExisted);
    fs::remove_all(gHome);
  }
  static std::string gHome;
  static bool gLockdownDirExisted;
};
std::string PhoneTest::gHome;
bool PhoneTest::gLockdownDirExisted = false;

// The same book and notes over the emulator's plain socket and over a phone, with the
// service under TLS and without: record for record, byte for byte as the device counted
// them, and a probe of the service that tells which of the two it is.
TEST_F(PhoneTest, ExportsMatchThePlainSocketWithAndWithoutTls) {
  devicesim::Listener plain("unix:" + TempPath(".plain"),
                            devicesim::GenerateAddressBook(kPeople, kSeed),
                            devicesim::GenerateNotes(kNoteCount, kSeed), Batches());
  ASSERT_TRUE(plain.ok()) << plain.error();
  size_t conversations = 0;
  for (int kind : {kVeldrakeContacts, kVeldrakeNotes}) {
    const Outcome expected = Export(kind, plain.endpoint());
    ASSERT_EQ(expected.result, 0);
    ASSERT_EQ(expected.records.size(), kind == kVeldrakeContacts ? kPeople : kNoteCount);
    EXPECT_EQ(expected.bytes, SentBy(plain, ++conversations));
    for (bool tls : {true, false}) {
      SCOPED_TRACE(std::string(kind == kVeldrakeContacts ? "contacts" : "notes") +
                   (tls ? " over TLS" : " in the clear"));
      const PhoneConfig phone = Phone([&](PhoneConfig& p) { p.serviceTls = tls; });
      Daemon daemon({phone});
      for (const std::string& endpoint : {UsbOf(phone), std::string("usb")}) {
        const Outcome run = Export(kind, endpoint);
        EXPECT_EQ(run.result, 0) << endpoint;
        EXPECT_EQ(run.lastError, 0) << endpoint;
        EXPECT_EQ(run.records, expected.records) << endpoint;
        EXPECT_EQ(run.bytes, expected.bytes) << endpoint;
      }
      int usesTls = -1;
      EXPECT_EQ(mdphone_probe_service(phone.udid.c_str(), &usesTls), 0);
      EXPECT_EQ(usesTls, tls ? 1 : 0);
    }
  }
}

// Each thing a person can fix has its own code: straight from GetData when the phone
// cannot be reached, -6 and the reason from mdphone_last_error when the service did not
// start. Probing the service gives the same reason an export would.
TEST_F(PhoneTest, EveryScriptedFaultGivesItsCode) {
  const PhoneConfig second = devicesim::phone::ExtraPhone(1);
  struct Row {
    const char* name;
    std::vector<PhoneConfig> phones;
    std::string udid;  // empty: "usb"
    int result;
    int lastError;
    int data = kVeldrakeContacts;
  } rows[] = {
      {"no phone", {}, "", MDPHONE_ERR_NO_DEVICE, MDPHONE_ERR_NO_DEVICE},
      {"two phones",
       {Phone(), second},
       "",
       MDPHONE_ERR_SEVERAL_DEVICES,
       MDPHONE_ERR_SEVERAL_DEVICES},
      {"unknown UDID",
       {Phone()},
       "0123456789abcdef0123456789abcdef01234567",
       MDPHONE_ERR_UDID_NOT_FOUND,
       MDPHONE_ERR_UDID_NOT_FOUND},
      {"not trusted",
       {Phone([](PhoneConfig& p) { p.trusted = false; })},
       "",
       MDPHONE_ERR_NOT_PAIRED,
       MDPHONE_ERR_NOT_PAIRED},
      {"passcode",
       {Phone([](PhoneConfig& p) { p.passcodeLocked = true; })},
       "",
       -6,
       MDPHONE_ERR_PASSCODE_LOCKED},
      {"refused",
       {Phone([](PhoneConfig& p) { p.serviceRefused = true; })},
       "",
       -6,
       MDPHONE_ERR_SERVICE_REFUSED},
      {"session TLS",
       {Phone([](PhoneConfig& p) { p.sessionTlsFailure = true; })},
       "",
       -6,
       MDPHONE_ERR_TLS_FAILED},
      {"service TLS",
       {Phone([](PhoneConfig& p) { p.serviceTlsFailure = true; })},
       "",
       -6,
       MDPHONE_ERR_TLS_FAILED},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Daemon daemon(row.phones);
    const Outcome run = Export(row.data, row.udid.empty() ? "usb" : "usb:" + row.udid);
    EXPECT_EQ(run.result, row.result);
    EXPECT_EQ(run.lastError, row.lastError);
    EXPECT_TRUE(run.records.empty());
    EXPECT_EQ(mdphone_probe_service(row.udid.empty() ? nullptr : row.udid.c_str(), nullptr),
              row.lastError);
  }
  SCOPED_TRACE("no daemon");
  setenv("USBMUXD_SOCKET_ADDRESS", ("UNIX:" + TempPath(".absent")).c_str(), 1);
  const Outcome run = Export(kVeldrakeNotes, "usb");
  EXPECT_EQ(run.result, MDPHONE_ERR_NO_DAEMON);
  EXPECT_EQ(run.lastError, MDPHONE_ERR_NO_DAEMON);
  EXPECT_EQ(mdphone_probe_service(nullptr, nullptr), MDPHONE_ERR_NO_DAEMON);
}

// The endpoint kinds, each one device serving the test book.
enum class Kind { Unix, Tcp, Fd, UsbTls, UsbClear };

const char* NameOf(Kind kind) {
  static const char* const kNames[] = {"unix", "tcp", "fd", "usb with TLS", "usb in the clear"};
  return kNames[static_cast<int>(kind)];
}

// A device of any endpoint kind; a phone is unplugged after `detachAfter` bytes of its
// service (-1: never).
class AnyDevice {
 public:
  AnyDevice(Kind kind, const devicesim::DeviceOptions& options, int64_t detachAfter = -1) {
    auto book = devicesim::GenerateAddressBook(kPeople, kSeed);
    auto notes = devicesim::GenerateNotes(kNoteCount, kSeed);
    if (kind == Kind::Unix || kind == Kind::Tcp) {
      const std::string where = kind == Kind::Unix ? "unix:" + TempPath(".any") : "tcp:127.0.0.1:0";
      listener_ = std::make_unique<devicesim::Listener>(where, book, notes, options);
      EXPECT_TRUE(listener_->ok()) << listener_->error();
      endpoint_ = listener_->endpoint();
    } else if (kind == Kind::Fd) {
      inProcess_ = std::make_unique<devicesim::InProcessDevice>(book, notes, options);
      endpoint_ = inProcess_->endpoint();
    } else {
      const PhoneConfig phone = Phone([&](PhoneConfig& p) {
        p.serviceTls = kind == Kind::UsbTls;
        p.detachAfterBytes = detachAfter;
      });
      daemon_ = std::make_unique<Daemon>(std::vector<PhoneConfig>{phone}, options);
      endpoint_ = UsbOf(phone);
    }
  }
  const std::string& endpoint() const { return endpoint_; }
  // What the device's side sent in its one conversation; -1 for a phone, which keeps no count.
  long long sent() {
    if (inProcess_) return static_cast<long long>(inProcess_->wait().bytesSent);
    return listener_ ? SentBy(*listener_, 1) : -1;
  }

 private:
  std::unique_ptr<devicesim::Listener> listener_;
  std::unique_ptr<devicesim::InProcessDevice> inProcess_;
  std::unique_ptr<Daemon> daemon_;
  std::string endpoint_;
};

// On every endpoint kind, a device that ends the conversation before the library said
// goodbye (closing the connection while it stays there, or unplugged) is a lost connection,
// whatever GetData returned; a finished export is none. The platform counts every byte the
// device sent, as the device itself counted them.
TEST_F(PhoneTest, EveryEndpointTellsAnEarlyEndFromAFinishedOne) {
  struct Row {
    Kind kind;
    int data;
    int64_t closeAfter;   // the device closes the service after this many bytes
    int64_t detachAfter;  // the phone is unplugged after this many bytes
  };
  std::vector<Row> rows;
  for (Kind kind : {Kind::Unix, Kind::Tcp, Kind::Fd}) {
    rows.push_back({kind, kVeldrakeContacts, -1, -1});
    rows.push_back({kind, kVeldrakeNotes, 100, -1});
    rows.push_back({kind, kVeldrakeContacts, 1500, -1});
  }
  rows.push_back({Kind::UsbTls, kVeldrakeContacts, 1500, -1});
  rows.push_back({Kind::UsbClear, kVeldrakeNotes, 100, -1});
  rows.push_back({Kind::UsbTls, kVeldrakeContacts, -1, 1500});
  rows.push_back({Kind::UsbTls, kVeldrakeNotes, -1, 100});
  rows.push_back({Kind::UsbClear, kVeldrakeContacts, -1, 4000});
  rows.push_back({Kind::UsbClear, kVeldrakeNotes, -1, 3000});
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(NameOf(row.kind)) +
                 (row.data == kVeldrakeNotes ? " notes" : " contacts") + " closed after " +
                 std::to_string(row.closeAfter) + ", unplugged after " +
                 std::to_string(row.detachAfter));
    devicesim::DeviceOptions options = Batches();
    options.closeAfterBytes = row.closeAfter;
    AnyDevice device(row.kind, options, row.detachAfter);
    const Outcome run = Export(row.data, device.endpoint());
    const size_t all = row.data == kVeldrakeContacts ? kPeople : kNoteCount;
    const bool cut = row.closeAfter >= 0 || row.detachAfter >= 0;
    EXPECT_EQ(run.lastError, cut ? MDPHONE_ERR_CONNECTION_LOST : 0);
    if (cut) {
      EXPECT_LT(run.records.size(), all);
      EXPECT_LE(run.bytes, std::max(row.closeAfter, row.detachAfter));
    } else {
      EXPECT_EQ(run.result, 0);
      EXPECT_EQ(run.records.size(), all);
    }
    const long long sent = device.sent();
    if (sent >= 0) {
      EXPECT_EQ(run.bytes, sent);
    }
  }
}

// A host cancels a contact export that waits on a silent device by shutting the library's
// socket down from another thread: GetData comes back at once with what was gathered, the
// bytes received so far could be read meanwhile, and a cancel is no lost connection.
TEST_F(PhoneTest, ShutdownFromAnotherThreadCancelsAnExport) {
  for (Kind kind : {Kind::Unix, Kind::UsbTls}) {
    SCOPED_TRACE(NameOf(kind));
    std::promise<void> silent;
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    devicesim::DeviceOptions options = Batches();
    options.scriptedReply = [&, released](const std::string& label,
                                          int occurrence) -> std::optional<std::string> {
      if (label == "M6" && occurrence == 1) {
        silent.set_value();
        released.wait();
      }
      return std::nullopt;
    };
    AnyDevice served(kind, options);
    gSeen.clear();
    void* device = mdsim_device_new(served.endpoint().c_str());
    auto call = std::async(std::launch::async, [&] {
      return GetData(kVeldrakeContacts, nullptr, device, reinterpret_cast<void*>(&OnContact));
    });
    ASSERT_EQ(silent.get_future().wait_for(kBound), std::future_status::ready);
    EXPECT_GT(mdsim_bytes_received(device), 0);
    shutdown(iSocket, SHUT_RDWR);
    const bool returned = call.wait_for(kBound) == std::future_status::ready;
    release.set_value();
    EXPECT_TRUE(returned);
    EXPECT_EQ(call.get(), 0);
    EXPECT_EQ(gSeen.size(), kBatch);
    EXPECT_EQ(mdphone_last_error(device), 0);
    DisContectDeviceAndProtocol();
    mdsim_device_free(device);
  }
}

size_t Entries(const char* dir) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

std::vector<int> OpenFds() {
  std::vector<int> fds;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    fds.push_back(std::stoi(entry.path().filename().string()));
  }
  std::sort(fds.begin(), fds.end());
  return fds;
}

// Many exports over TLS from a daemon in its own process leave no relay thread and no
// descriptor behind in this one. Any leak would be one per export, so fifty show it as
// plainly as more would.
TEST_F(PhoneTest, ManyExportsLeaveNoThreadOrDescriptor) {
  constexpr int kExports = 50;
  testsupport::EmulatedDaemon daemon(VELDRAKE_DEVICESIM,
                                     {"--generate-contacts", "3", "--generate-notes", "3"});
  ASSERT_TRUE(daemon.started()) << daemon.error();
  daemon.exportAddress();
  Export(kVeldrakeContacts, "usb");  // the libraries below set up what they keep for the process
  const size_t threads = Entries("/proc/self/task");
  const size_t descriptors = Entries("/proc/self/fd");
  int failures = 0;
  for (int i = 0; i < kExports; ++i) {
    const Outcome run = Export(i % 2 == 0 ? kVeldrakeContacts : kVeldrakeNotes, "usb");
    failures += run.result != 0 || run.records.size() != 3;
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(Entries("/proc/self/task"), threads);
  EXPECT_EQ(Entries("/proc/self/fd"), descriptors);
}

// Every descriptor a started export holds (lockdown, the service, the relay's pair) is
// close-on-exec, so a host that forks and runs another program meanwhile leaks none.
TEST_F(PhoneTest, AStartedExportHoldsOnlyCloseOnExecDescriptors) {
  testsupport::EmulatedDaemon daemon(VELDRAKE_DEVICESIM, {"--generate-contacts", "3"});
  ASSERT_TRUE(daemon.started()) << daemon.error();
  daemon.exportAddress();
  const std::vector<int> before = OpenFds();
  void* device = mdsim_device_new("usb");
  ASSERT_EQ(AMDeviceConnect(device), 0);
  ASSERT_EQ(AMDeviceStartSession(device), 0);
  AMDServiceConnectionRef connection = nullptr;
  CFStringRef service =
      CFStringCreateWithCString(nullptr, "com.apple.mobilesync", kCFStringEncodingUTF8);
  ASSERT_EQ(AMDeviceSecureStartService(device, service, nullptr, &connection), 0);
  CFRelease(service);
  size_t held = 0;
  for (int fd : OpenFds()) {
    if (std::binary_search(before.begin(), before.end(), fd)) continue;
    ++held;
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0) << "descriptor " << fd;
  }
  EXPECT_GE(held, 3u);  // lockdown, the phone's service connection, the library's end
  AFCConnectionClose(connection);
  AMDeviceStopSession(device);
  AMDeviceDisconnect(device);
  mdsim_device_free(device);
}

// Listing, pairing and turning contact sync on, against phones in each state. A phone
// that trusts this computer is not asked again: it would deny, and nothing is asked.
TEST_F(PhoneTest, ControlFunctionsSeeAndChangeThePhonesState) {
  PhoneConfig locked = Phone([](PhoneConfig& p) {
    p.contactSyncDisabled = true;
    p.passcodeLocked = true;
    p.trustDialog = devicesim::phone::TrustDialog::Deny;
  });
  PhoneConfig stranger = devicesim::phone::ExtraPhone(1);
  stranger.trusted = false;
  stranger.trustDialog = devicesim::phone::TrustDialog::Pending;
  PhoneConfig refuser = devicesim::phone::ExtraPhone(2);
  refuser.trusted = false;
  refuser.trustDialog = devicesim::phone::TrustDialog::Deny;
  Daemon daemon({locked, stranger, refuser});

  EXPECT_EQ(mdphone_list(nullptr, 0), 3);
  // Describing one phone opens that phone alone, however many are attached.
  mdphone_info one;
  ASSERT_EQ(mdphone_describe(stranger.udid.c_str(), &one), 0);
  EXPECT_EQ(std::string(one.udid), stranger.udid);
  EXPECT_EQ(one.trusted, MDPHONE_NO);
  EXPECT_GT((*daemon).lockdownConnections(stranger.udid), 0);
  EXPECT_EQ((*daemon).lockdownConnections(locked.udid), 0);
  EXPECT_EQ((*daemon).lockdownConnections(refuser.udid), 0);
  EXPECT_EQ(mdphone_describe(nullptr, &one), MDPHONE_ERR_SEVERAL_DEVICES);
  EXPECT_EQ(mdphone_describe("00000000-0000000000000000", &one), MDPHONE_ERR_UDID_NOT_FOUND);
  mdphone_info info[3];
  ASSERT_EQ(mdphone_list(info, 3), 3);
  auto find = [&](const PhoneConfig& phone) -> const mdphone_info* {
    for (const mdphone_info& i : info) {
      if (phone.udid == i.udid) return &i;
    }
    ADD_FAILURE() << phone.udid << " not listed";
    return &info[0];
  };
  const mdphone_info* first = find(locked);
  EXPECT_EQ(std::string(first->name), locked.name);
  EXPECT_EQ(std::string(first->model), locked.model);
  EXPECT_EQ(std::string(first->version), locked.version);
  EXPECT_EQ(first->network, MDPHONE_NO);
  EXPECT_EQ(first->trusted, MDPHONE_YES);
  EXPECT_EQ(first->contacts_sync, MDPHONE_NO);
  EXPECT_EQ(first->locked, MDPHONE_YES);
  EXPECT_EQ(find(stranger)->trusted, MDPHONE_NO);
  EXPECT_EQ(find(stranger)->contacts_sync, MDPHONE_UNKNOWN);
  EXPECT_EQ(find(stranger)->locked, MDPHONE_UNKNOWN);

  EXPECT_EQ(mdphone_enable_contact_sync(locked.udid.c_str()), 0);
  EXPECT_EQ(mdphone_enable_contact_sync(stranger.udid.c_str()), MDPHONE_ERR_NOT_PAIRED);
  EXPECT_EQ(mdphone_pair(nullptr), MDPHONE_ERR_SEVERAL_DEVICES);
  EXPECT_EQ(mdphone_pair(locked.udid.c_str()), MDPHONE_ALREADY_PAIRED);
  EXPECT_EQ(mdphone_pair(refuser.udid.c_str()), MDPHONE_ERR_PAIRING_DENIED);
  EXPECT_EQ(mdphone_pair(stranger.udid.c_str()), MDPHONE_ERR_PAIRING_PENDING);
  EXPECT_EQ(mdphone_pair(stranger.udid.c_str()), 0);
  EXPECT_EQ(mdphone_pair(stranger.udid.c_str()), MDPHONE_ALREADY_PAIRED);
  EXPECT_TRUE((*daemon).hasPairRecord(stranger.udid));
  EXPECT_FALSE((*daemon).hasPairRecord(refuser.udid));

  ASSERT_EQ(mdphone_list(info, 3), 3);
  EXPECT_EQ(find(locked)->contacts_sync, MDPHONE_YES);
  EXPECT_EQ(find(stranger)->trusted, MDPHONE_YES);
  EXPECT_EQ(find(stranger)->locked, MDPHONE_NO);
  EXPECT_EQ(find(refuser)->trusted, MDPHONE_NO);
  const Outcome paired = Export(kVeldrakeNotes, UsbOf(stranger));
  EXPECT_EQ(paired.result, 0);
  EXPECT_EQ(paired.records.size(), kNoteCount);

  setenv("USBMUXD_SOCKET_ADDRESS", ("UNIX:" + TempPath(".absent")).c_str(), 1);
  EXPECT_EQ(mdphone_list(info, 3), MDPHONE_ERR_NO_DAEMON);
  EXPECT_EQ(mdphone_pair(nullptr), MDPHONE_ERR_NO_DAEMON);
}

}  // namespace
