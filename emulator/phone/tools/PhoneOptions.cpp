// veldrake-devicesim's --usbmuxd role: its options, the daemon they configure, its run loop.
#include "devicesim/phone/PhoneOptions.h"

#include <signal.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <map>
#include <thread>

namespace devicesim {
namespace phone {
namespace {

constexpr int kMaxPhones = 8;
constexpr auto kPollInterval = std::chrono::milliseconds(50);

std::atomic<bool> g_stop{false};
void OnSignal(int) {
  g_stop = true;
}

const std::map<std::string, TrustDialog> kTrustDialogs = {{"accept", TrustDialog::Accept},
                                                          {"pending", TrustDialog::Pending},
                                                          {"deny", TrustDialog::Deny}};

constexpr const char* kGroup = "Emulated usbmux daemon and phones";

// The daemon, how many phones it has and who they are.
void AddIdentityOptions(CLI::App& app, PhoneOptions& options) {
  PhoneConfig& phone = options.phone;
  app.add_option("--usbmuxd", options.usbmuxd,
                 "play the usbmux daemon on unix:PATH with emulated phones behind it "
                 "(clients: USBMUXD_SOCKET_ADDRESS=UNIX:PATH); a path another daemon "
                 "answers on is refused")
      ->group(kGroup);
  app.add_option("--phone-credentials", options.credentialsFile,
                 "a PEM file of fixed keys and certificates for every phone, for tests "
                 "(default: fresh ones)")
      ->check(CLI::ExistingFile)
      ->group(kGroup);
  app.add_option("--phones", options.phones, "how many phones are attached (0: none)")
      ->check(CLI::Range(0, kMaxPhones))
      ->capture_default_str()
      ->group(kGroup);
  app.add_option("--phone-udid", phone.udid, "the first phone's UDID")
      ->capture_default_str()
      ->group(kGroup);
  app.add_option("--phone-name", phone.name, "its name")->capture_default_str()->group(kGroup);
  app.add_option("--phone-model", phone.model, "its model")->capture_default_str()->group(kGroup);
  app.add_option("--phone-version", phone.version, "its OS version")
      ->capture_default_str()
      ->group(kGroup);
}

// Trust and pairing: who is trusted from the start and how the Trust dialog is answered.
void AddTrustOptions(CLI::App& app, PhoneOptions& options) {
  PhoneConfig& phone = options.phone;
  app.add_flag(
         "--untrusted", [&phone](int64_t) { phone.trusted = false; },
         "no pair record: the phones do not trust this computer yet")
      ->group(kGroup);
  app.add_option("--trusted-phones", options.trustedPhones,
                 "only the first N phones trust this computer (default: all)")
      ->check(CLI::Range(0, kMaxPhones))
      ->group(kGroup);
  app.add_option("--trust-dialog", options.trustDialog,
                 "how pairing is answered: accept, pending (the first request waits for the "
                 "person, later ones are accepted) or deny")
      ->check(CLI::IsMember({"accept", "pending", "deny"}))
      ->capture_default_str()
      ->group(kGroup);
  app.add_flag("--passcode-locked", phone.passcodeLocked,
               "locked with a passcode: service start and pairing are refused")
      ->group(kGroup);
}

// The lockdown session's and the sync service's TLS.
void AddTlsOptions(CLI::App& app, PhoneConfig& phone) {
  app.add_flag("--old-tls", phone.oldTls,
               "an old phone: its TLS also takes TLS 1.0/1.1 and SHA-1 signatures (a current "
               "one refuses them)")
      ->group(kGroup);
  app.add_flag("--session-tls-failure", phone.sessionTlsFailure,
               "the phone answers the session's TLS handshake with garbage")
      ->group(kGroup);
  app.add_flag("--service-tls-failure", phone.serviceTlsFailure,
               "the phone answers the sync service's TLS handshake with garbage")
      ->group(kGroup);
  app.add_flag(
         "--no-service-tls", [&phone](int64_t) { phone.serviceTls = false; },
         "run the sync service without TLS")
      ->group(kGroup);
}

// What the sync service does: refused, cut short, or answering without data.
void AddServiceOptions(CLI::App& app, PhoneConfig& phone) {
  app.add_flag("--service-refused", phone.serviceRefused, "the sync service start is refused")
      ->group(kGroup);
  app.add_option("--detach-after-bytes", phone.detachAfterBytes,
                 "unplug a phone after it has sent N bytes on a sync service connection")
      ->group(kGroup);
  app.add_flag("--contact-sync-off", phone.contactSyncDisabled,
               "contact sync with a computer is off (tethered_sync Contacts DisableTethered)")
      ->group(kGroup);
  app.add_flag("--contacts-in-icloud", phone.contactsInICloud,
               "contacts live in iCloud: the contact sync sends no records")
      ->group(kGroup);
  app.add_flag("--no-notes-store", phone.noNotesStore,
               "no notes for computer sync (iOS 11 and later): the note sync is refused")
      ->group(kGroup);
}

}  // namespace

void AddPhoneOptions(CLI::App& app, PhoneOptions& options) {
  AddIdentityOptions(app, options);
  AddTrustOptions(app, options);
  AddTlsOptions(app, options.phone);
  AddServiceOptions(app, options.phone);
}

UsbmuxdConfig ConfigFrom(const PhoneOptions& options) {
  UsbmuxdConfig config;
  config.endpoint = options.usbmuxd;
  config.credentialsFile = options.credentialsFile;
  config.phones.clear();
  PhoneConfig states = options.phone;
  states.trustDialog = kTrustDialogs.at(options.trustDialog);
  for (int i = 0; i < options.phones; ++i) {
    PhoneConfig phone = states;
    if (options.trustedPhones >= 0 && i >= options.trustedPhones) phone.trusted = false;
    if (i > 0) {
      const PhoneConfig identity = ExtraPhone(i);
      phone.udid = identity.udid;
      phone.name = identity.name;
      phone.model = identity.model;
      phone.version = identity.version;
    }
    config.phones.push_back(phone);
  }
  return config;
}

int RunUsbmuxd(const PhoneOptions& options, AddressBook book, NoteStore notes,
               const DeviceOptions& deviceOptions) {
  const size_t people = book.people.size(), count = notes.notes.size();
  const UsbmuxdConfig config = ConfigFrom(options);
  Usbmuxd daemon(config, std::move(book), std::move(notes), deviceOptions);
  std::string error;
  if (!daemon.start(&error)) {
    std::cerr << "veldrake-devicesim: " << error << "\n";
    return 1;
  }
  std::printf("usbmux daemon on %s (USBMUXD_SOCKET_ADDRESS=%s): %zu contacts, %zu notes\n",
              daemon.endpoint().c_str(), daemon.socketAddress().c_str(), people, count);
  for (const PhoneConfig& phone : config.phones)
    std::printf("  phone %s \"%s\" %s %s%s\n", phone.udid.c_str(), phone.name.c_str(),
                phone.model.c_str(), phone.version.c_str(), phone.trusted ? "" : " (untrusted)");
  std::fflush(stdout);
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  while (!g_stop) std::this_thread::sleep_for(kPollInterval);
  daemon.stop();
  return 0;
}

}  // namespace phone
}  // namespace devicesim
