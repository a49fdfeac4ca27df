// Real phones through the usbmux daemon, played by the emulator: the same exports as over
// a plain socket, one code per thing a person can fix, a cancel and an unplug that come
// back promptly, and nothing left behind after many exports.
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

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
  if (run.result != -1) DisContectDeviceAndProtocol();
  mdsim_device_free(device);
  run.records = gSeen;
  return run;
}

std::string UsbOf(const PhoneConfig& phone) {
  return "usb:" + phone.udid;
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

// Record for record what the same book and notes give over the emulator's plain socket,
// with the service under TLS (through the relay) and without (the phone's own descriptor).
TEST_F(PhoneTest, ExportsMatchThePlainSocketWithAndWithoutTls) {
  devicesim::Listener plain("unix:" + TempPath(".plain"),
                            devicesim::GenerateAddressBook(kPeople, kSeed),
                            devicesim::GenerateNotes(kNoteCount, kSeed), Batches());
  ASSERT_TRUE(plain.ok()) << plain.error();
  for (int kind : {kVeldrakeContacts, kVeldrakeNotes}) {
    const Outcome expected = Export(kind, plain.endpoint());
    ASSERT_EQ(expected.result, 0);
    ASSERT_EQ(expected.records.size(), kind == kVeldrakeContacts ? kPeople : kNoteCount);
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
      }
    }
  }
}

// Each thing a person can fix has its own code: straight from GetData when the phone
// cannot be reached, -6 and the reason from mdphone_last_error when the service did not
// start.
TEST_F(PhoneTest, EveryScriptedFaultGivesItsCode) {
  const PhoneConfig second = devicesim::phone::ExtraPhone(1);
  struct Row {
    const char* name;
    std::vector<PhoneConfig> phones;
    std::string endpoint;
    int result;
    int lastError;
  } rows[] = {
      {"no phone", {}, "usb", MDPHONE_ERR_NO_DEVICE, MDPHONE_ERR_NO_DEVICE},
      {"two phones",
       {Phone(), second},
       "usb",
       MDPHONE_ERR_SEVERAL_DEVICES,
       MDPHONE_ERR_SEVERAL_DEVICES},
      {"unknown UDID",
       {Phone()},
       "usb:0123456789abcdef0123456789abcdef01234567",
       MDPHONE_ERR_UDID_NOT_FOUND,
       MDPHONE_ERR_UDID_NOT_FOUND},
      {"not trusted",
       {Phone([](PhoneConfig& p) { p.trusted = false; })},
       "usb",
       MDPHONE_ERR_NOT_PAIRED,
       MDPHONE_ERR_NOT_PAIRED},
      {"passcode",
       {Phone([](PhoneConfig& p) { p.passcodeLocked = true; })},
       "usb",
       -6,
       MDPHONE_ERR_PASSCODE_LOCKED},
      {"refused",
       {Phone([](PhoneConfig& p) { p.serviceRefused = true; })},
       "usb",
       -6,
       MDPHONE_ERR_SERVICE_REFUSED},
      {"session TLS",
       {Phone([](PhoneConfig& p) { p.sessionTlsFailure = true; })},
       "usb",
       -6,
       MDPHONE_ERR_TLS_FAILED},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Daemon daemon(row.phones);
    const Outcome run = Export(kVeldrakeContacts, row.endpoint);
    EXPECT_EQ(run.result, row.result);
    EXPECT_EQ(run.lastError, row.lastError);
    EXPECT_TRUE(run.records.empty());
  }
  SCOPED_TRACE("no daemon");
  setenv("USBMUXD_SOCKET_ADDRESS", ("UNIX:" + TempPath(".absent")).c_str(), 1);
  const Outcome run = Export(kVeldrakeNotes, "usb");
  EXPECT_EQ(run.result, MDPHONE_ERR_NO_DAEMON);
  EXPECT_EQ(run.lastError, MDPHONE_ERR_NO_DAEMON);
}

// A host cancels a contact export that waits on a silent phone by shutting the library's
// socket down; over the relay GetData still comes back at once with what was gathered,
// and a cancel is no lost connection.
TEST_F(PhoneTest, ShutdownFromAnotherThreadCancelsAnExportOverTheRelay) {
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
  Daemon daemon({Phone()}, options);
  gSeen.clear();
  void* device = mdsim_device_new("usb");
  auto call = std::async(std::launch::async, [&] {
    return GetData(kVeldrakeContacts, nullptr, device, reinterpret_cast<void*>(&OnContact));
  });
  ASSERT_EQ(silent.get_future().wait_for(kBound), std::future_status::ready);
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

// Unplugged at a few points of each export: GetData comes back (a note export failed; a
// contact export failed when still in the version exchange, else with what it gathered),
// and the reason is the lost connection.
TEST_F(PhoneTest, APhoneUnpluggedMidwayIsALostConnection) {
  struct Cut {
    int kind;
    int64_t bytes;
    bool tls;
    int result;
  } cuts[] = {{kVeldrakeContacts, 100, true, -1},  {kVeldrakeContacts, 1500, true, 0},
              {kVeldrakeContacts, 4000, false, 0}, {kVeldrakeNotes, 100, true, -1},
              {kVeldrakeNotes, 1500, true, -1},    {kVeldrakeNotes, 3000, false, -1}};
  for (const Cut& cut : cuts) {
    SCOPED_TRACE(std::to_string(cut.kind) + " after " + std::to_string(cut.bytes) +
                 (cut.tls ? " with TLS" : " in the clear"));
    const PhoneConfig phone = Phone([&](PhoneConfig& p) {
      p.detachAfterBytes = cut.bytes;
      p.serviceTls = cut.tls;
    });
    Daemon daemon({phone});
    const Outcome run = Export(cut.kind, UsbOf(phone));
    EXPECT_EQ(run.result, cut.result);
    EXPECT_EQ(run.lastError, MDPHONE_ERR_CONNECTION_LOST);
    EXPECT_LT(run.records.size(), cut.kind == kVeldrakeContacts ? kPeople : kNoteCount);
  }
}

size_t Entries(const char* dir) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

// Many exports over TLS from a daemon in its own process leave no relay thread and no
// descriptor behind in this one.
TEST_F(PhoneTest, ManyExportsLeaveNoThreadOrDescriptor) {
  constexpr int kExports = 200;
  const std::string socketPath = TempPath(".leak");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    execl(VELDRAKE_DEVICESIM, VELDRAKE_DEVICESIM, "--usbmuxd", ("unix:" + socketPath).c_str(),
          "--generate-contacts", "3", "--generate-notes", "3", static_cast<char*>(nullptr));
    _exit(127);
  }
  setenv("USBMUXD_SOCKET_ADDRESS", ("UNIX:" + socketPath).c_str(), 1);
  const auto deadline = std::chrono::steady_clock::now() + kBound;
  while (mdphone_list(nullptr, 0) != 1 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
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
  kill(child, SIGTERM);
  int status = 0;
  waitpid(child, &status, 0);
}

// Listing, pairing and turning contact sync on, against phones in each state.
TEST_F(PhoneTest, ControlFunctionsSeeAndChangeThePhonesState) {
  PhoneConfig locked = Phone([](PhoneConfig& p) { p.contactSyncDisabled = true; });
  PhoneConfig stranger = devicesim::phone::ExtraPhone(1);
  stranger.trusted = false;
  stranger.trustDialog = devicesim::phone::TrustDialog::Pending;
  PhoneConfig refuser = devicesim::phone::ExtraPhone(2);
  refuser.trusted = false;
  refuser.trustDialog = devicesim::phone::TrustDialog::Deny;
  Daemon daemon({locked, stranger, refuser});

  EXPECT_EQ(mdphone_list(nullptr, 0), 3);
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
  EXPECT_EQ(find(stranger)->trusted, MDPHONE_NO);
  EXPECT_EQ(find(stranger)->contacts_sync, MDPHONE_UNKNOWN);

  EXPECT_EQ(mdphone_enable_contact_sync(locked.udid.c_str()), 0);
  EXPECT_EQ(mdphone_enable_contact_sync(stranger.udid.c_str()), MDPHONE_ERR_NOT_PAIRED);
  EXPECT_EQ(mdphone_pair(nullptr), MDPHONE_ERR_SEVERAL_DEVICES);
  EXPECT_EQ(mdphone_pair(refuser.udid.c_str()), MDPHONE_ERR_PAIRING_DENIED);
  EXPECT_EQ(mdphone_pair(stranger.udid.c_str()), MDPHONE_ERR_PAIRING_PENDING);
  EXPECT_EQ(mdphone_pair(stranger.udid.c_str()), 0);
  EXPECT_TRUE((*daemon).hasPairRecord(stranger.udid));
  EXPECT_FALSE((*daemon).hasPairRecord(refuser.udid));

  ASSERT_EQ(mdphone_list(info, 3), 3);
  EXPECT_EQ(find(locked)->contacts_sync, MDPHONE_YES);
  EXPECT_EQ(find(stranger)->trusted, MDPHONE_YES);
  EXPECT_EQ(find(refuser)->trusted, MDPHONE_NO);
  const Outcome paired = Export(kVeldrakeNotes, UsbOf(stranger));
  EXPECT_EQ(paired.result, 0);
  EXPECT_EQ(paired.records.size(), kNoteCount);

  setenv("USBMUXD_SOCKET_ADDRESS", ("UNIX:" + TempPath(".absent")).c_str(), 1);
  EXPECT_EQ(mdphone_list(info, 3), MDPHONE_ERR_NO_DAEMON);
  EXPECT_EQ(mdphone_pair(nullptr), MDPHONE_ERR_NO_DAEMON);
}

}  // namespace
