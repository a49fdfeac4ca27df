// The manifest database and the file records in it.
#include "Manifest.h"

#include <openssl/evp.h>

#include <utility>

#include "Sqlite.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Value.h"

namespace devicesim::backup {
namespace {

const int64_t kFileMode = 0100644, kDirectoryMode = 040755;
const int64_t kMobileUser = 501;
const int64_t kArchiverVersion = 100000;

const char kManifestSchema[] =
    "CREATE TABLE Files (fileID TEXT PRIMARY KEY, domain TEXT, relativePath TEXT,"
    " flags INTEGER, file BLOB);"
    "CREATE INDEX FilesDomainIdx ON Files(domain);"
    "CREATE INDEX FilesRelativePathIdx ON Files(relativePath);"
    "CREATE INDEX FilesFlagsIdx ON Files(flags);"
    "CREATE TABLE Properties (key TEXT PRIMARY KEY, value BLOB);";

Value ClassOf(std::vector<std::string> names) {
  ValueArray classes;
  for (const std::string& name : names) classes.push_back(Value::Ascii(name));
  ValueDict dict;
  dict[u"$classname"] = Value::Ascii(names.front());
  dict[u"$classes"] = Value::Array(std::move(classes));
  return Value::Dict(std::move(dict));
}

ValueDict FileObject(const FileEntry& entry) {
  ValueDict file;
  const bool directory = entry.flags == kDirectory;
  file[u"RelativePath"] = Value::Uid(2);
  file[u"Size"] = Value::Integer(directory ? 0 : static_cast<int64_t>(entry.size));
  file[u"ProtectionClass"] = Value::Integer(entry.protectionClass);
  file[u"Mode"] = Value::Integer(directory ? kDirectoryMode : kFileMode);
  file[u"Birth"] = Value::Integer(entry.time);
  file[u"LastModified"] = Value::Integer(entry.time);
  file[u"LastStatusChange"] = Value::Integer(entry.time);
  file[u"InodeNumber"] = Value::Integer(static_cast<int64_t>(entry.inode));
  file[u"UserID"] = Value::Integer(kMobileUser);
  file[u"GroupID"] = Value::Integer(kMobileUser);
  file[u"Flags"] = Value::Integer(0);
  return file;
}

}  // namespace

std::string FileId(const std::string& domain, const std::string& relativePath) {
  const std::string name = domain + "-" + relativePath;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(name.data(), name.size(), digest, &length, EVP_sha1(), nullptr);
  static const char kHex[] = "0123456789abcdef";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += kHex[digest[i] >> 4];
    hex += kHex[digest[i] & 15];
  }
  return hex;
}

// Objects: $null, the MBFile, its path, then (encrypted) the key's data object and its
// class, then the MBFile's class: the order a phone's archiver leaves them in.
std::string MBFileArchive(const FileEntry& entry) {
  ValueDict file = FileObject(entry);
  ValueArray objects{Value::Ascii("$null"), Value(), Value::Text(entry.relativePath)};
  if (!entry.wrappedKey.empty()) {
    file[u"EncryptionKey"] = Value::Uid(3);
    ValueDict key;
    key[u"NS.data"] = Value::Data(entry.wrappedKey);
    key[u"$class"] = Value::Uid(4);
    objects.push_back(Value::Dict(std::move(key)));
    objects.push_back(ClassOf({"NSMutableData", "NSData", "NSObject"}));
  }
  file[u"$class"] = Value::Uid(objects.size());
  objects.push_back(ClassOf({"MBFile", "NSObject"}));
  objects[1] = Value::Dict(std::move(file));
  ValueDict top;
  top[u"root"] = Value::Uid(1);
  ValueDict archive;
  archive[u"$version"] = Value::Integer(kArchiverVersion);
  archive[u"$archiver"] = Value::Ascii("NSKeyedArchiver");
  archive[u"$top"] = Value::Dict(std::move(top));
  archive[u"$objects"] = Value::Array(std::move(objects));
  return WriteBinaryPlist(Value::Dict(std::move(archive)));
}

bool WriteManifestDb(const std::vector<FileEntry>& entries, const std::string& path,
                     std::string* error) {
  Db db;
  if (!db.Open(path, error) || !db.Exec(kManifestSchema, error) || !db.Exec("BEGIN", error))
    return false;
  {
    Statement insert(db,
                     "INSERT INTO Files (fileID, domain, relativePath, flags, file)"
                     " VALUES (?,?,?,?,?)");
    for (const FileEntry& entry : entries) {
      insert.TextOrEmpty(1, FileId(entry.domain, entry.relativePath));
      insert.TextOrEmpty(2, entry.domain);
      insert.TextOrEmpty(3, entry.relativePath);
      insert.Int(4, entry.flags);
      insert.Blob(5, MBFileArchive(entry));
      if (!insert.Run(error)) return false;
    }
  }
  return db.Exec("COMMIT", error) && db.Close(error);
}

}  // namespace devicesim::backup
