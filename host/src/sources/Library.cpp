// Finds libVeldrakeForMac beside the program and looks up the entry points a host calls.
#include "Library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#ifndef VELDRAKE_LIBRARY_FILE
#define VELDRAKE_LIBRARY_FILE "libVeldrakeForMac.so"
#endif
#ifndef VELDRAKE_LIBRARY_SONAME
#define VELDRAKE_LIBRARY_SONAME "libVeldrakeForMac.so.0"
#endif
#ifndef VELDRAKE_INSTALL_LIBDIR
#define VELDRAKE_INSTALL_LIBDIR "lib"
#endif
#ifndef VELDRAKE_BACKUP_SONAME
#define VELDRAKE_BACKUP_SONAME "libVeldrakeBackup.so.0"
#endif
#ifndef VELDRAKE_MULTIARCH
#define VELDRAKE_MULTIARCH ""
#endif

namespace host {
namespace {

// The decorated name of `int DisContectDeviceAndProtocol()`, as the library exports it.
const char kDisconnectSymbol[] = "_Z27DisContectDeviceAndProtocolv";
const char* const kBackupFiles[] = {"libVeldrakeBackup.so", VELDRAKE_BACKUP_SONAME};

}  // namespace

std::string Library::ExecutableDirectory() {
  char buffer[PATH_MAX];
  const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n <= 0) return ".";
  std::string path(buffer, static_cast<size_t>(n));
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::vector<std::string> Library::Candidates() {
  const std::string here = ExecutableDirectory();
  std::vector<std::string> folders = {here, here + "/../" VELDRAKE_INSTALL_LIBDIR};
  if (VELDRAKE_MULTIARCH[0] != '\0') folders.push_back(here + "/../lib/" VELDRAKE_MULTIARCH);
  folders.push_back(here + "/../lib");
  std::vector<std::string> out;
  for (const std::string& folder : folders) {
    for (const char* file : {VELDRAKE_LIBRARY_FILE, VELDRAKE_LIBRARY_SONAME}) {
      const std::string path = folder + "/" + file;
      if (std::find(out.begin(), out.end(), path) == out.end()) out.push_back(path);
    }
  }
  return out;
}

bool Library::Load(std::string* error) {
  void* handle = nullptr;
  std::string failures;
  for (const std::string& candidate : Candidates()) {
    if (::access(candidate.c_str(), F_OK) != 0) continue;
    handle = ::dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle != nullptr) {
      path_ = candidate;
      break;
    }
    failures += std::string("; ") + ::dlerror();
  }
  if (handle == nullptr) {
    *error = "cannot find " VELDRAKE_LIBRARY_FILE " beside the program or in ../lib";
    if (!failures.empty()) *error += failures;
    return false;
  }
  getData = reinterpret_cast<GetDataFunction>(::dlsym(handle, "GetData"));
  disconnect = reinterpret_cast<DisconnectFunction>(::dlsym(handle, kDisconnectSymbol));
  socket = static_cast<int*>(::dlsym(handle, "iSocket"));
  if (getData == nullptr || disconnect == nullptr) {
    *error = path_ + " does not export " + (getData == nullptr ? "GetData" : kDisconnectSymbol);
    return false;
  }
  return true;
}

bool BackupLibrary::Load(const Library& main, std::string* error) {
  const size_t slash = main.path().rfind('/');
  const std::string folder = slash == std::string::npos ? "." : main.path().substr(0, slash);
  void* handle = nullptr;
  for (const char* file : kBackupFiles) {
    const std::string path = folder + "/" + file;
    if (::access(path.c_str(), F_OK) == 0 && (handle = ::dlopen(path.c_str(), RTLD_NOW))) break;
  }
  if (handle == nullptr) {
    *error = "backup library not found (libVeldrakeBackup.so beside " + main.path() + ")";
    return false;
  }
  list = reinterpret_cast<decltype(list)>(::dlsym(handle, "VeldrakeBackupList"));
  getData = reinterpret_cast<decltype(getData)>(::dlsym(handle, "VeldrakeBackupGetData"));
  lastMessage =
      reinterpret_cast<decltype(lastMessage)>(::dlsym(handle, "VeldrakeBackupLastMessage"));
  getContacts =
      reinterpret_cast<decltype(getContacts)>(::dlsym(handle, "VeldrakeBackupGetContacts"));
  cancel = reinterpret_cast<decltype(cancel)>(::dlsym(handle, "VeldrakeBackupCancel"));
  removeTemporaries = reinterpret_cast<decltype(removeTemporaries)>(
      ::dlsym(handle, "VeldrakeBackupRemoveTemporaries"));
  getNotes = reinterpret_cast<decltype(getNotes)>(::dlsym(handle, "VeldrakeBackupGetNotes"));
  copyAttachment =
      reinterpret_cast<decltype(copyAttachment)>(::dlsym(handle, "VeldrakeBackupCopyAttachment"));
  if (getNotes == nullptr || copyAttachment == nullptr)
    getNotes = nullptr, copyAttachment = nullptr;
  if (list == nullptr || getData == nullptr || lastMessage == nullptr) {
    *error = "the backup library beside " + main.path() + " lacks its entry points";
    return false;
  }
  return true;
}

}  // namespace host
