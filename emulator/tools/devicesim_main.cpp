// veldrake-devicesim: a stand-in device that answers the sync conversation on a Unix
// socket or a loopback TCP port, fed from vCard files and notes (or generated data).
#include <signal.h>
#include <unistd.h>

#include <sys/stat.h>
#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "devicesim/AddressBook.h"
#include "devicesim/Listener.h"
#include "devicesim/NoteStore.h"
#include "devicesim/backup/BackupCommand.h"
#include "devicesim/phone/PhoneOptions.h"

namespace {

const int kExitListenFailed = 1;
const int kExitBadInput = 2;
const auto kReportInterval = std::chrono::milliseconds(50);

struct Options {
  std::string listen = "unix:/tmp/veldrake-devicesim.sock";
  std::vector<std::string> contacts;
  std::string notes;
  size_t generateContacts = 0, generateNotes = 0, batch = 100;
  uint32_t seed = 1;
  bool once = false;
  devicesim::phone::PhoneOptions phone;     // --usbmuxd and the phones behind it
  devicesim::backup::BackupCommand backup;  // --write-backup and its options
};

void DeclareOptions(CLI::App& app, Options& o) {
  app.add_option("--listen", o.listen, "unix:PATH or tcp:127.0.0.1:PORT (port 0: any free one)")
      ->capture_default_str();
  app.add_option("--contacts", o.contacts, "vCard files (2.1, 3.0, 4.0) to serve as contacts");
  app.add_option(
      "--notes", o.notes,
      "notes: a JSON array of {subject, content, modified}, a folder of text files or a notes set");
  app.add_option("--generate-contacts", o.generateContacts, "add N synthetic people");
  app.add_option("--generate-notes", o.generateNotes, "add N synthetic notes");
  app.add_option("--seed", o.seed, "seed of the generators")->capture_default_str();
  app.add_option("--batch", o.batch, "records per reply")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  app.add_flag("--once", o.once, "serve one connection, then exit");
  devicesim::phone::AddPhoneOptions(app, o.phone);
  devicesim::backup::AddBackupOptions(app, o.backup);
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The files named on the command line, then the generated records after them.
bool LoadData(const Options& o, devicesim::AddressBook& book, devicesim::NoteStore& store,
              std::string* error) {
  if (!o.contacts.empty() && !devicesim::LoadVCardFiles(o.contacts, &book, error)) return false;
  if (!o.notes.empty() && IsDirectory(o.notes)) {
    if (!(devicesim::IsNoteSet(o.notes) ? devicesim::LoadNoteSet(o.notes, &store, error)
                                        : devicesim::LoadNotesDir(o.notes, &store, error)))
      return false;
  } else if (!o.notes.empty() && !devicesim::LoadNotesJson(o.notes, &store, error)) {
    return false;
  }
  if (o.generateContacts > 0) {
    devicesim::AddressBook extra = devicesim::GenerateAddressBook(o.generateContacts, o.seed);
    for (devicesim::Person& person : extra.people) {
      person.id = static_cast<int>(book.people.size() + 1);
      book.people.push_back(std::move(person));
    }
  }
  if (o.generateNotes > 0) {
    devicesim::NoteStore extra = devicesim::GenerateNotes(o.generateNotes, o.seed);
    store.notes.insert(store.notes.end(), extra.notes.begin(), extra.notes.end());
  }
  return true;
}

std::atomic<bool> g_stop{false};
void OnSignal(int) {
  g_stop = true;
}

void StopOnSignals() {
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// One line per finished connection, until a signal (or the first one with --once).
void ReportConnections(const devicesim::Listener& listener, bool once) {
  size_t reported = 0;
  while (!g_stop) {
    std::this_thread::sleep_for(kReportInterval);
    const std::vector<devicesim::Transcript> done = listener.transcripts();
    for (; reported < done.size(); ++reported) {
      std::printf("connection %zu: %zu messages, %llu bytes sent\n", reported + 1,
                  done[reported].received.size(),
                  static_cast<unsigned long long>(done[reported].bytesSent));
      std::fflush(stdout);
    }
    if (once && reported > 0) break;
  }
}

int Serve(const Options& o, devicesim::AddressBook book, devicesim::NoteStore store) {
  devicesim::DeviceOptions options;
  options.batchSize = o.batch;
  if (!o.phone.usbmuxd.empty())
    return devicesim::phone::RunUsbmuxd(o.phone, std::move(book), std::move(store), options);
  const size_t people = book.people.size(), count = store.notes.size();
  devicesim::Listener listener(o.listen, std::move(book), std::move(store), options);
  if (!listener.ok()) {
    std::cerr << "veldrake-devicesim: " << listener.error() << "\n";
    return kExitListenFailed;
  }
  std::printf("listening on %s: %zu contacts, %zu notes, %zu records per reply\n",
              listener.endpoint().c_str(), people, count, o.batch);
  std::fflush(stdout);
  StopOnSignals();
  ReportConnections(listener, o.once);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "A stand-in device for the Veldrake sync conversation. Serves contacts from vCard\n"
      "files and notes from a JSON file or a folder of text files, one connection after\n"
      "another, until interrupted (or after one with --once)."};
  Options options;
  DeclareOptions(app, options);
  CLI11_PARSE(app, argc, argv);

  devicesim::AddressBook book;
  devicesim::NoteStore store;
  std::string error;
  if (!LoadData(options, book, store, &error)) {
    std::cerr << "veldrake-devicesim: " << error << "\n";
    return kExitBadInput;
  }
  if (!options.backup.dir.empty())
    return devicesim::backup::RunBackupCommand(options.backup, book, store);
  return Serve(options, std::move(book), std::move(store));
}
