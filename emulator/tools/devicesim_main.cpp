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
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "devicesim/phone/PhoneOptions.h"

namespace {

std::atomic<bool> g_stop{false};
void OnSignal(int) {
  g_stop = true;
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "A stand-in device for the Veldrake sync conversation. Serves contacts from vCard\n"
      "files and notes from a JSON file or a folder of text files, one connection after\n"
      "another, until interrupted (or after one with --once)."};
  std::string listen = "unix:/tmp/veldrake-devicesim.sock";
  std::vector<std::string> contacts;
  std::string notes;
  size_t generateContacts = 0, generateNotes = 0, batch = 100;
  uint32_t seed = 1;
  bool once = false;
  app.add_option("--listen", listen, "unix:PATH or tcp:127.0.0.1:PORT (port 0: any free one)")
      ->capture_default_str();
  app.add_option("--contacts", contacts, "vCard files (2.1, 3.0, 4.0) to serve as contacts");
  app.add_option("--notes", notes,
                 "notes: a JSON array of {subject, content, modified} or a folder");
  app.add_option("--generate-contacts", generateContacts, "add N synthetic people");
  app.add_option("--generate-notes", generateNotes, "add N synthetic notes");
  app.add_option("--seed", seed, "seed of the generators")->capture_default_str();
  app.add_option("--batch", batch, "records per reply")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  app.add_flag("--once", once, "serve one connection, then exit");
  devicesim::phone::PhoneOptions phoneOptions;
  devicesim::phone::AddPhoneOptions(app, phoneOptions);
  CLI11_PARSE(app, argc, argv);

  devicesim::AddressBook book;
  devicesim::NoteStore store;
  std::string error;
  if (!contacts.empty() && !devicesim::LoadVCardFiles(contacts, &book, &error)) {
    std::cerr << "veldrake-devicesim: " << error << "\n";
    return 2;
  }
  if (!notes.empty()) {
    bool loaded = IsDirectory(notes) ? devicesim::LoadNotesDir(notes, &store, &error)
                                     : devicesim::LoadNotesJson(notes, &store, &error);
    if (!loaded) {
      std::cerr << "veldrake-devicesim: " << error << "\n";
      return 2;
    }
  }
  if (generateContacts > 0) {
    devicesim::AddressBook extra = devicesim::GenerateAddressBook(generateContacts, seed);
    for (devicesim::Person& person : extra.people) {
      person.id = static_cast<int>(book.people.size() + 1);
      book.people.push_back(std::move(person));
    }
  }
  if (generateNotes > 0) {
    devicesim::NoteStore extra = devicesim::GenerateNotes(generateNotes, seed);
    store.notes.insert(store.notes.end(), extra.notes.begin(), extra.notes.end());
  }

  devicesim::DeviceOptions options;
  options.batchSize = batch;
  if (!phoneOptions.usbmuxd.empty())
    return devicesim::phone::RunUsbmuxd(phoneOptions, std::move(book), std::move(store), options);
  const size_t people = book.people.size(), count = store.notes.size();
  devicesim::Listener listener(listen, std::move(book), std::move(store), options);
  if (!listener.ok()) {
    std::cerr << "veldrake-devicesim: " << listener.error() << "\n";
    return 1;
  }
  std::printf("listening on %s: %zu contacts, %zu notes, %zu records per reply\n",
              listener.endpoint().c_str(), people, count, batch);
  std::fflush(stdout);

  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  size_t reported = 0;
  while (!g_stop) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::vector<devicesim::Transcript> done = listener.transcripts();
    for (; reported < done.size(); ++reported) {
      std::printf("connection %zu: %zu messages, %llu bytes sent\n", reported + 1,
                  done[reported].received.size(),
                  static_cast<unsigned long long>(done[reported].bytesSent));
      std::fflush(stdout);
    }
    if (once && reported > 0) break;
  }
  return 0;
}
