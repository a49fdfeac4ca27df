// The backup folder and its three property lists.
#include "BackupFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "BPListReader/BPListReader.h"
#include "FileIo.h"
#include "InfoPlist.h"
#include "PlistMember.h"
#include "prop/mg_gmtime64_s.h"
#include "prop/prop.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

namespace fs = std::filesystem;

// Manifest.plist carries the installed applications, icons included: a few megabytes.
constexpr size_t kPlistLimit = 64u << 20;

std::string Text(const prop* value) {
  if (value == nullptr) return "";
  if (value->hasTag(prop::object::TagAscii)) return value->toUTF8String();
  if (value->hasTag(prop::object::TagUnicode)) return prop::toUtf8(value->toString());
  return "";
}

std::string Data(const prop* value) {
  return value != nullptr && value->hasTag(prop::object::TagData) ? *value->_value->bytes : "";
}

int64_t Date(const prop* value) {
  if (value == nullptr || value->date() == nullptr) return -1;
  const double seconds = ClampToDateRange(*value->date());
  return seconds == seconds ? static_cast<int64_t>(seconds + kSecondsFrom1970To2001) : -1;
}

// The root dictionary of the binary property list at `path`, or the null value.
prop ReadBinaryPlist(const std::string& path) {
  std::string bytes;
  BPListReader reader;
  if (!ReadSmallFile(path, kPlistLimit, &bytes) || !reader.open(bytes.data(), bytes.size()))
    return prop::Null;
  const prop root = reader.getRootObject();
  return root.dict() != nullptr ? root : prop::Null;
}

void TakeManifest(const prop& manifest, BackupFacts* out) {
  const prop* encrypted = Member(manifest, L"IsEncrypted");
  out->encrypted = encrypted != nullptr && encrypted->hasTag(prop::object::TagTrue);
  out->keybag = Data(Member(manifest, L"BackupKeyBag"));
  out->manifestKey = Data(Member(manifest, L"ManifestKey"));
  out->date = Date(Member(manifest, L"Date"));
  const prop* lockdown = Member(manifest, L"Lockdown");
  if (lockdown == nullptr) return;
  out->udid = Text(Member(*lockdown, L"UniqueDeviceID"));
  out->name = Text(Member(*lockdown, L"DeviceName"));
  out->version = Text(Member(*lockdown, L"ProductVersion"));
}

// Info.plist's word goes before Manifest.plist's where both have one.
void TakeInfo(const InfoValues& info, BackupFacts* out) {
  if (!info.udid.empty()) out->udid = info.udid;
  if (!info.name.empty()) out->name = info.name;
  if (!info.version.empty()) out->version = info.version;
  if (info.date >= 0) out->date = info.date;
}

}  // namespace

bool ReadSmallFile(const std::string& path, size_t limit, std::string* out) {
  std::error_code error;
  if (!IsPlainFile(path)) return false;
  const uintmax_t size = fs::file_size(path, error);
  if (error || size > limit) return false;
  std::ifstream in(path, std::ios::binary);
  out->assign(static_cast<size_t>(size), '\0');
  if (size > 0 && !in.read(&(*out)[0], static_cast<std::streamsize>(size))) return false;
  return true;
}

bool IsBackupFolder(const std::string& folder) {
  return IsPlainFile(folder + "/Manifest.plist");
}

std::vector<std::string> FindBackups(const std::string& path) {
  if (IsBackupFolder(path)) return {path};
  std::vector<std::string> found;
  std::error_code error;
  for (fs::directory_iterator it(path, error), end; !error && it != end; it.increment(error)) {
    const std::string child = it->path().string();
    if (it->is_directory(error) && IsBackupFolder(child)) found.push_back(child);
  }
  std::sort(found.begin(), found.end());
  return found;
}

int ReadBackupFacts(const std::string& folder, BackupFacts* out, std::string* message) {
  out->path = folder;
  const prop manifest = ReadBinaryPlist(folder + "/Manifest.plist");
  if (manifest == prop::Null) {
    *message = folder + "/Manifest.plist is no readable binary property list";
    return kVeldrakeBackupStoreUnreadable;
  }
  TakeManifest(manifest, out);
  InfoValues info;
  const InfoRead read = ReadInfoPlist(folder + "/Info.plist", &info);
  if (read == InfoRead::kOk) TakeInfo(info, out);
  if (read != InfoRead::kOk && read != InfoRead::kMissing)
    out->infoProblem = folder + "/Info.plist is unreadable (" + DescribeInfoRead(read) +
                       "); Manifest.plist's values are used";
  const prop status = ReadBinaryPlist(folder + "/Status.plist");
  out->complete =
      Text(Member(status, L"SnapshotState")) == "finished" && IsPlainFile(folder + "/Manifest.db");
  if (!out->complete) {
    *message = LinkRefusal(folder, "Manifest.db");
    if (message->empty())
      *message = folder + " holds an unfinished backup (Status.plist or Manifest.db)";
    return kVeldrakeBackupNotABackup;
  }
  return kVeldrakeBackupOk;
}

}  // namespace veldrake::backup
