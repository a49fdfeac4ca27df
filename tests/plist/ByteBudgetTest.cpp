// The reader's byte budget: many references to one large object (data, ASCII or UTF-16
// text) decode only while the bytes they add up to fit max(kMinByteBudget,
// kBytesPerInputByte x input length), however few objects that is. The oracle is that
// rule over lists assembled here; the first row is a hostile Manifest.plist's shape.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BPListReader/BPListReader.h"
#include "ListBytes.h"

namespace {

using listbytes::Assemble;
using listbytes::BE;

enum Kind { kData, kAscii, kUtf16 };

// An object of `units` characters or bytes, its count in a 4-byte integer.
std::string Object(Kind kind, uint64_t units) {
  const char markers[] = {'\x4F', '\x5F', '\x6F'};
  const std::string body(kind == kUtf16 ? 2 * units : units, kind == kData ? '\xA5' : '\x41');
  return std::string(1, markers[kind]) + '\x12' + BE(units, 4) + body;
}

// The bytes the decoded object holds in memory: wide characters for UTF-16 text.
uint64_t HeldBytes(Kind kind, uint64_t units) {
  return kind == kUtf16 ? units * sizeof(wchar_t) : units;
}

// An array (the root) of `refs` references to one object.
std::string SharedList(Kind kind, uint64_t units, uint64_t refs) {
  std::string array = std::string(1, '\xAF') + '\x12' + BE(refs, 4);
  for (uint64_t i = 0; i < refs; ++i) array += BE(1, 4);
  return Assemble({array, Object(kind, units)}, 4, 4);
}

TEST(BPListByteBudget, SharedLargeObjectsDecodeOnlyWithinTheByteBudget) {
  const uint64_t kMiB = 1 << 20;
  const struct {
    Kind kind;
    uint64_t units, refs;
  } table[] = {
      {kData, kMiB, 200000},  // 1.8 MB of input that would decode to 200 GiB
      {kData, 1000, 8},       {kData, kMiB / 2, 2},    {kData, 64 * 1024, 200},
      {kData, 64 * 1024, 16},  // exactly the floor
      {kData, 64 * 1024, 17}, {kAscii, 64 * 1024, 16}, {kAscii, 64 * 1024, 17},
      {kUtf16, 1000, 100},    {kUtf16, 1000, 300},     {kUtf16, kMiB, 1},
  };
  for (const auto& row : table) {
    const std::string list = SharedList(row.kind, row.units, row.refs);
    const uint64_t budget =
        std::max(BPListReader::kMinByteBudget, BPListReader::kBytesPerInputByte * list.size());
    const bool fits = row.refs * HeldBytes(row.kind, row.units) <= budget;
    BPListReader reader;
    ASSERT_TRUE(reader.open(list.data(), list.size()));
    const prop root = reader.getRootObject();
    const std::vector<prop>* array = root.array();
    EXPECT_EQ(array != nullptr, fits) << row.kind << " " << row.units << " x" << row.refs;
    if (array != nullptr) {
      EXPECT_EQ(array->size(), row.refs);
    }
  }
}

}  // namespace
