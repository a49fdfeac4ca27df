// Putting the backup together.
#include "Assembler.h"

#include <cstdio>
#include <ctime>
#include <filesystem>

namespace devicesim::backup {
namespace {

const double kUnixTo2001 = 978307200;
const uint64_t kFirstInode = 100000;

std::string UuidText(const std::string& bytes) {
  std::string text;
  char hex[3];
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    std::snprintf(hex, sizeof hex, "%02X", static_cast<unsigned char>(bytes[i]));
    text += hex;
  }
  return text;
}

std::string Parent(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

bool Assembler::Begin(const std::string& dir, std::string* error) {
  std::error_code code;
  std::filesystem::create_directories(dir, code);
  if (code) {
    *error = "cannot create " + dir + ": " + code.message();
    return false;
  }
  final_ = dir + "/" + options_.udid;
  if (Exists(final_) && !options_.replace) {
    *error = final_ + " already exists";
    return false;
  }
  time_ = static_cast<int64_t>(std::time(nullptr));
  stamp_.date = static_cast<double>(time_) - kUnixTo2001;
  stamp_.uuid = UuidText(RandomBytes(16));
  return out_.Create(dir + "/." + options_.udid + ".partial-XXXXXX", error) &&
         stage_.Create(TempRoot() + "/veldrake-backup-XXXXXX", error) &&
         MakeKeybag(options_.password, options_.sha256Iterations, options_.sha1Iterations, &keybag_,
                    error);
}

void Assembler::AddFolders(const std::string& domain, const std::string& relativePath) {
  const std::string parent = Parent(relativePath);
  if (!folders_.insert(domain + "-" + parent).second) return;
  if (!parent.empty()) AddFolders(domain, parent);
  FileEntry folder;
  folder.domain = domain;
  folder.relativePath = parent;
  folder.flags = kDirectory;
  folder.inode = kFirstInode + entries_.size();
  folder.time = time_;
  entries_.push_back(folder);
}

bool Assembler::CopyIn(const std::string& from, const std::string& to, const std::string& key,
                       uint64_t* size, std::string* error) {
  if (key.empty())
    return TransformFile(
        from, to,
        [](const std::string& in, std::string* out) {
          *out = in;
          return true;
        },
        [](std::string*) { return true; }, size, error);
  CbcEncryptor cipher(key);
  return TransformFile(
      from, to, [&](const std::string& in, std::string* out) { return cipher.Update(in, out); },
      [&](std::string* out) { return cipher.Final(out); }, size, error);
}

bool Assembler::AddFile(const std::string& domain, const std::string& relativePath,
                        const std::string& staged, std::string* error) {
  AddFolders(domain, relativePath);
  FileEntry file;
  file.domain = domain;
  file.relativePath = relativePath;
  file.inode = kFirstInode + entries_.size();
  file.time = time_;
  file.protectionClass = kFileClass;
  std::string key;
  if (!options_.password.empty() &&
      !NewWrappedKey(kFileClass, keybag_.keys[kFileClass], &key, &file.wrappedKey)) {
    *error = "cannot wrap a file key";
    return false;
  }
  const std::string id = FileId(domain, relativePath);
  const std::string folder = out_.path() + "/" + id.substr(0, 2);
  if (!MakeDir(folder, error) || !CopyIn(staged, folder + "/" + id, key, &file.size, error))
    return false;
  entries_.push_back(file);
  return true;
}

bool Assembler::Finish(std::string* error) {
  const std::string manifestDb = StagePath("Manifest.db");
  if (!WriteManifestDb(entries_, manifestDb, error)) return false;
  std::string key, wrapped;
  if (!options_.password.empty() &&
      !NewWrappedKey(kManifestClass, keybag_.keys[kManifestClass], &key, &wrapped)) {
    *error = "cannot wrap the manifest key";
    return false;
  }
  uint64_t size = 0;
  const std::string& root = out_.path();
  return CopyIn(manifestDb, root + "/Manifest.db", key, &size, error) &&
         WriteFile(root + "/Manifest.plist",
                   ManifestPlist(options_, stamp_, keybag_.bytes, wrapped), error) &&
         WriteFile(root + "/Info.plist", InfoPlist(options_, stamp_), error) &&
         WriteFile(root + "/Status.plist", StatusPlist(stamp_), error) && PutInPlace(error);
}

// An existing backup is moved aside first and removed only once the new one is in place.
bool Assembler::PutInPlace(std::string* error) {
  TempDir old;
  if (Exists(final_)) {
    if (!old.Create(final_ + ".old-XXXXXX", error)) return false;
    if (std::rename(final_.c_str(), old.path().c_str()) != 0) {
      *error = "cannot move the old backup " + final_ + " aside";
      return false;
    }
  }
  if (std::rename(out_.path().c_str(), final_.c_str()) != 0) {
    if (!old.path().empty()) std::rename(old.path().c_str(), final_.c_str());
    old.Release();
    *error = "cannot rename the backup into " + final_;
    return false;
  }
  out_.Release();
  return true;
}

}  // namespace devicesim::backup
