// The built-in sample device: the emulator in-process on a socket in a temporary folder.
#include "BuiltinDevice.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "Library.h"
#include "Signals.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"

namespace host {
namespace {

bool IsFile(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

BuiltinDevice::BuiltinDevice() = default;

BuiltinDevice::~BuiltinDevice() {
  listener_.reset();  // stops serving and removes the socket file
  if (folder_.empty()) return;
  ::rmdir(folder_.c_str());
  UnregisterTemporary(socket_);
  UnregisterTemporary(folder_);
}

std::string BuiltinDevice::SamplesDirectory() {
  std::vector<std::string> candidates = {Library::ExecutableDirectory() +
                                         "/../" VELDRAKE_INSTALL_DATADIR "/veldrake/samples"};
#ifdef VELDRAKE_SOURCE_SAMPLES
  candidates.push_back(VELDRAKE_SOURCE_SAMPLES);
#endif
  for (const std::string& folder : candidates)
    if (IsFile(folder + "/addressbook.vcf") && IsFile(folder + "/notes.json")) return folder;
  return "";
}

bool BuiltinDevice::Start(std::string* error) {
  const std::string samples = SamplesDirectory();
  if (samples.empty()) {
    *error = "the sample address book is not installed (looked in ../" VELDRAKE_INSTALL_DATADIR
             "/veldrake/samples); give --device";
    return false;
  }
  devicesim::AddressBook book;
  devicesim::NoteStore notes;
  if (!devicesim::LoadVCardFiles({samples + "/addressbook.vcf"}, &book, error) ||
      !devicesim::LoadNotesJson(samples + "/notes.json", &notes, error))
    return false;

  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/veldrake-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (::mkdtemp(name.data()) == nullptr) {
    *error = pattern + ": " + std::strerror(errno);
    return false;
  }
  folder_ = name.data();
  socket_ = folder_ + "/device.sock";
  RegisterTemporary(folder_);
  RegisterTemporary(socket_);
  listener_.reset(new devicesim::Listener("unix:" + socket_, std::move(book), std::move(notes)));
  if (!listener_->ok()) {
    *error = "the built-in device did not start: " + listener_->error();
    return false;
  }
  return true;
}

std::string BuiltinDevice::endpoint() const {
  return listener_ ? listener_->endpoint() : "";
}

}  // namespace host
