// The file record archive (Manifest.db's Files.file), written by the emulator's property
// list writer: what is read from good archives, and archives that lie.
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "FileRecord.h"
#include "ValueBuild.h"
#include "devicesim/BPListWriter.h"

namespace {

using namespace valuebuild;
using veldrake::backup::FileRecord;
using veldrake::backup::ParseFileRecord;

const std::string kKey44 = std::string("\x03\x00\x00\x00", 4) + std::string(40, 'k');

// An MBFile archive; `root` is the index of the record, `keyRef` that of EncryptionKey.
std::string Archive(Value record, Value keyHolder, uint64_t root = 1) {
  return devicesim::WriteBinaryPlist(Dict({
      {"$archiver", Str("NSKeyedArchiver")},
      {"$version", Int(100000)},
      {"$top", Dict({{"root", Value::Uid(root)}})},
      {"$objects", Array({Str("$null"), record, Str("Library/x.sqlite"),
                          Dict({{"$classname", Str("MBFile")}}), keyHolder})},
  }));
}

Value Record(Value size, Value key = Null) {
  std::vector<std::pair<std::string, Value>> members = {{"$class", Value::Uid(3)},
                                                        {"RelativePath", Value::Uid(2)},
                                                        {"Size", size},
                                                        {"ProtectionClass", Int(3)},
                                                        {"Mode", Int(0100644)}};
  if (!std::holds_alternative<std::monostate>(key.body()))
    members.push_back({"EncryptionKey", key});
  return Dict(members);
}

TEST(FileRecordTest, ReadsSizeClassAndWrappedKeyAndRefusesWhatLies) {
  const Value holder = Dict({{"NS.data", Value::Data(kKey44)}, {"$class", Value::Uid(3)}});
  const struct {
    std::string archive;
    bool ok;
    int64_t size;
    size_t keyBytes;
  } table[] = {
      {Archive(Record(Int(1234)), Null), true, 1234, 0},
      {Archive(Record(Int(0), Value::Uid(4)), holder), true, 0, 40},
      {Archive(Record(Int(-1)), Null), false, 0, 0},                   // a negative size
      {Archive(Record(Str("12")), Null), false, 0, 0},                 // a size of text
      {Archive(Record(Int(5), Value::Uid(1)), holder), false, 0, 0},   // the key is the record
      {Archive(Record(Int(5), Value::Uid(99)), holder), false, 0, 0},  // past $objects
      {Archive(Record(Int(5), Int(4)), holder), false, 0, 0},          // no reference
      {Archive(Record(Int(5), Value::Uid(4)),
               Dict({{"NS.data", Value::Data(kKey44.substr(0, 43))}})),
       false, 0, 0},
      {Archive(Record(Int(5)), Null, 0), false, 0, 0},   // root is "$null"
      {Archive(Record(Int(5)), Null, 40), false, 0, 0},  // root past $objects
      {devicesim::WriteBinaryPlist(Array({Int(1)})), false, 0, 0},
      {"bplist00", false, 0, 0},
  };
  int n = 0;
  for (const auto& row : table) {
    FileRecord record;
    EXPECT_EQ(ParseFileRecord(row.archive.data(), row.archive.size(), &record), row.ok) << n;
    if (row.ok) {
      EXPECT_EQ(record.size, row.size) << n;
      EXPECT_EQ(record.wrappedKey.size(), row.keyBytes) << n;
      EXPECT_EQ(record.protectionClass, 3u) << n;
    }
    ++n;
  }
  FileRecord record;
  EXPECT_FALSE(ParseFileRecord(nullptr, 0, &record));
}

}  // namespace
