// The reader on lists built byte by byte: shapes common writers never produce, and what a
// hostile or broken device could send, which must end in a refused open or a null root,
// fast, with nothing read outside the bytes (the sanitizer build proves the latter).
#include <gtest/gtest.h>

#include "ListBytes.h"

// The reader's position discipline, which every read goes through.
class BPListReaderPeer {
 public:
  static void SetPos(BPListReader& reader, int64_t position) { reader.setpos(position); }
  static const unsigned char* Ptr(BPListReader& reader, int64_t n) { return reader.ptr(n); }
  static void Get(BPListReader& reader, std::string& out, unsigned long n) { reader.get(out, n); }
  static int64_t Position(const BPListReader& reader) { return reader._start; }
};

namespace {

using listbytes::Assemble;
using listbytes::BE;
using listbytes::Bytes;
using listbytes::Describe;
using listbytes::Outcome;
using listbytes::Trailer;

// What plistlib writes is checked against it (DifferentialTest); these are the shapes it
// never writes.
TEST(BPListObjects, UnusualShapesDecodeToTheirValues) {
  const struct {
    std::vector<std::string> objects;  // the first is the root
    const char* want;
  } cases[] = {
      // Integers wider than 8 bytes OR their words.
      {{Bytes({0x14}) + BE(0xF0, 8) + BE(0x0F, 8)}, "i255"},
      {{Bytes({0x15}) + BE(1, 8) + BE(2, 8) + BE(4, 8) + BE(8, 8)}, "i15"},
      {{Bytes({0x1F, 0x40}) + std::string(32766, '\0') + "\x03"}, "i4611686018427387907"},
      // UIDs take 2^n bytes, and the widest carries a count object first.
      {{Bytes({0x83}) + BE(0x0102030405060708ULL, 8)}, "u72623859790382856"},
      {{Bytes({0x8F, 0x10, 0x63}) + std::string(32767, '\0') + "\x05"}, "u5"},
      {{Bytes({0x22, 0x3F, 0x80, 0, 0})}, "r3ff0000000000000"},
      {{Bytes({0x53, 'a', 0, 0xC8})}, "a\"a\\0;\\c8;\""},  // ASCII bytes are not examined
      {{Bytes({0x63, 0xD8, 0x3D, 0xDE, 0x00, 0x00, 0x00})}, "w\"\\d83d;\\de00;\\0;\""},
      {{Bytes({0x60})}, "w\"\""},
      // Null, the booleans, and unassigned markers, which decode as null.
      {{Bytes({0xAD, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}), Bytes({0x00}), Bytes({0x01}),
        Bytes({0x07}), Bytes({0x0F}), Bytes({0x70}), Bytes({0x90}), Bytes({0xB3}), Bytes({0xC2}),
        Bytes({0xE5}), Bytes({0xF0}), Bytes({0xFF}), Bytes({0x08}), Bytes({0x09})},
       "[null,null,null,null,null,null,null,null,null,null,null,false,true]"},
      // Keys a, b, a (the second in UTF-16): keys are wide and the last equal key wins.
      {{Bytes({0xD3, 1, 2, 3, 4, 5, 6}), Bytes({0x51, 'a'}), Bytes({0x51, 'b'}),
        Bytes({0x61, 0, 'a'}), Bytes({0x10, 1}), Bytes({0x10, 2}), Bytes({0x10, 3})},
       "{\"a\":i3,\"b\":i2}"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Outcome(Assemble(c.objects)), c.want) << testing::PrintToString(c.objects[0]);
}

TEST(BPListContainer, EveryOffsetAndReferenceWidthDecodesTheSameTree) {
  for (unsigned offsetSize = 1; offsetSize <= 8; ++offsetSize) {
    for (unsigned refSize = 1; refSize <= 8; ++refSize) {
      const std::string array = Bytes({0xA3}) + BE(1, refSize) + BE(2, refSize) + BE(3, refSize);
      const std::string list = Assemble(
          {array, Bytes({0x51, 'x'}), Bytes({0x10, 7}), Bytes({0x08})}, offsetSize, refSize);
      EXPECT_EQ(Outcome(list), "[a\"x\",i7,false]") << offsetSize << " " << refSize;
    }
  }
  // References of width 0 read no bytes: every one is object 0.
  EXPECT_EQ(Outcome(Assemble({Bytes({0x51, 'z'}), Bytes({0xA2})}, 1, 0, 1)), "[a\"z\",a\"z\"]");
}

TEST(BPListContainer, LifecycleOfOneReader) {
  BPListReader reader;
  EXPECT_TRUE(reader.getRootObject() == prop::Null);
  const std::string list = Assemble({Bytes({0xA1, 1}), Bytes({0x51, 'q'})});
  ASSERT_TRUE(reader.open(list.data(), list.size()));
  const prop first = reader.getRootObject();
  const prop second = reader.getRootObject();
  EXPECT_EQ(Describe(second), "[a\"q\"]");
  EXPECT_FALSE((*first._value->array)[0] == (*second._value->array)[0]);
  // Another list replaces the first; what was handed out stays valid.
  const std::string other = Assemble({Bytes({0x09})});
  ASSERT_TRUE(reader.open(other.data(), other.size()));
  EXPECT_TRUE(reader.getRootObject() == prop::True);
  EXPECT_EQ(Describe(first), "[a\"q\"]");
  reader.close();
  EXPECT_TRUE(reader.getRootObject() == prop::Null);
}

// One true object at 8, then whatever trailer the case wants.
std::string WithTrailer(unsigned offsetSize, unsigned refSize, uint64_t numObjects,
                        uint64_t tableOffset) {
  return "bplist00" + Bytes({0x09, 0x08}) +
         Trailer(offsetSize, refSize, numObjects, 0, tableOffset);
}

std::string Patched(std::string list, size_t fromEnd, const std::string& bytes) {
  return list.replace(list.size() - fromEnd, bytes.size(), bytes);
}

TEST(BPListHostile, OpenTakesOnlyAHeaderTrailerAndTableThatFit) {
  const std::string smallest = WithTrailer(1, 1, 1, 9);
  ASSERT_EQ(smallest.size(), 42u);
  const struct {
    std::string list;
    const char* want;
  } cases[] = {
      {smallest, "true"},
      {Patched(smallest, 32, "\xff\x01\x02\x03\x04\x05"), "true"},  // unread bytes
      {Patched(smallest, 42 - 7, "1"), "refused"},                  // version 01
      {Patched(smallest, 42, "B"), "refused"},
      {smallest.substr(0, 33), "refused"},
      {"", "refused"},
      // 34 bytes: the trailer is read from 8. Width-0 offsets all lead to position 0,
      // where "bplist" reads as a UTF-16 string of two units, "pl" and "is".
      {"bplist00" + Trailer(0, 1, 1, 0, 8).substr(6), "w\"\\706c;\\6973;\""},
      {WithTrailer(9, 1, 1, 9), "refused"},
      {WithTrailer(1, 9, 1, 9), "refused"},
      {WithTrailer(1, 1, 1, 43), "refused"},
      {WithTrailer(1, 1, 1, ~0ULL), "refused"},
      // The table runs from 9 to the end: 33 one-byte entries fit, 34 do not.
      {WithTrailer(1, 1, 33, 9), "true"},
      {WithTrailer(1, 1, 34, 9), "refused"},
      {WithTrailer(2, 1, 17, 9), "refused"},
      // Counts that would overflow a multiplication, or exhaust memory if trusted.
      {WithTrailer(8, 1, 1ULL << 60, 9), "refused"},
      {WithTrailer(8, 1, 1ULL << 61, 0), "refused"},
      {WithTrailer(0, 1, 1ULL << 60, 9), "refused"},
      {WithTrailer(1, 1, ~0ULL, 9), "refused"},
      {Assemble({}), "null"},  // no objects, so no root
  };
  for (const auto& c : cases) EXPECT_EQ(Outcome(c.list), c.want) << testing::PrintToString(c.list);
}

TEST(BPListHostile, BrokenObjectsGiveANullRoot) {
  const std::string atEnd = Assemble({Bytes({0x09})}, 2);
  std::vector<std::string> lists = {
      // References and offsets out of range.
      Assemble({Bytes({0xA1, 1})}),                                      // past the table
      Assemble({Bytes({0x09})}, 1, 1, 1),                                // root past it
      Patched(Assemble({Bytes({0xA1, 1}), Bytes({0x09})}), 33, "\xc8"),  // offset past the end
      Patched(atEnd, 34, BE(atEnd.size(), 2)),  // offset at the end: no marker to read
      // Impossible shapes.
      Assemble({Bytes({0x21, 0, 0})}),                             // real of two bytes
      Assemble({Bytes({0x24}) + std::string(16, '\0')}),           // real of sixteen
      Assemble({Bytes({0x32, 0, 0, 0, 0})}),                       // date of four bytes
      Assemble({Bytes({0x34}) + std::string(16, '\0')}),           // date of sixteen
      Assemble({Bytes({0x5F, 0x51, 'x', 'x'})}),                   // count object that is a string
      Assemble({Bytes({0x5F, 0x00})}),                             // count object that is null
      Assemble({Bytes({0xAF, 0x23}) + std::string(8, '\0')}),      // count object that is a real
      Assemble({Bytes({0x5F, 0x13}) + BE(1ULL << 40, 8) + "ab"}),  // count beyond the data
      Assemble({Bytes({0x5F, 0x10, 0x28}) + "ab"}),  // beyond what remains, within the list
      Assemble({Bytes({0x4F, 0x13}) + std::string(8, '\xFF')}),  // negative count
      Assemble({Bytes({0xDF, 0x13}) + BE(1ULL << 63, 8)}),       // negative count
      Assemble({Bytes({0x6F, 0x10, 0x1E})}),                     // 30 units, 33 bytes left
      Assemble({Bytes({0xAF, 0x12}) + BE(0xFFFFFF, 4)}),         // references beyond the data
      Assemble({Bytes({0x1F, 0x00})}),                           // integer wider than the data
      Assemble({Bytes({0xA1, 1}) + std::string(40, '\0'), Bytes({0x16})}),  // than what remains
      Assemble({Bytes({0x8E, 0x00, 0x00})}),           // UID wider than the data
      Assemble({Bytes({0xD1, 3, 2}), Bytes({0x09})}),  // key past the table
      // Cycles, the last through width-0 references that all lead back to the array.
      Assemble({Bytes({0xA1, 0})}),
      Assemble({Bytes({0xA1, 1}), Bytes({0xD1, 2, 0}), Bytes({0x51, 'k'})}),
      Assemble({Bytes({0xA2})}, 1, 0),
  };
  // Keys that are no ASCII or UTF-16 string, or hold a byte outside ASCII.
  for (const std::string& key :
       {Bytes({0x10, 1}), Bytes({0x00}), Bytes({0x09}), Bytes({0xA0}), Bytes({0x41, 'k'}),
        Bytes({0x70}), Bytes({0x52, 'k', 0xFF}), Bytes({0x51, 0x80})})
    lists.push_back(Assemble({Bytes({0xD1, 1, 2}), key, Bytes({0x09})}));
  for (const std::string& list : lists)
    EXPECT_EQ(Outcome(list), "null") << testing::PrintToString(list);
}

// `levels` arrays, each holding `fanOut` references to the next, ending in a string.
std::string Chain(unsigned levels, unsigned fanOut) {
  std::vector<std::string> objects;
  for (unsigned i = 0; i < levels; ++i) {
    std::string array = Bytes({0xA0 | static_cast<int>(fanOut)});
    for (unsigned f = 0; f < fanOut; ++f) array += BE(i + 1, 4);
    objects.push_back(array);
  }
  objects.push_back(Bytes({0x51, 'x'}));
  return Assemble(objects, 4, 4);
}

TEST(BPListHostile, NestingAndSharingStopAtTheirLimits) {
  EXPECT_EQ(Outcome(Chain(100000, 1)), "null");
  const unsigned maxDepth = static_cast<unsigned>(BPListReader::kMaxDepth);
  EXPECT_EQ(Outcome(Chain(maxDepth, 1)), "null");
  EXPECT_EQ(Outcome(Chain(maxDepth - 1, 1)).substr(0, 2), "[[");
  // Shared references that expand exponentially exhaust the object budget; 2^10 leaves
  // stay within it.
  EXPECT_EQ(Outcome(Chain(60, 2)), "null");
  EXPECT_EQ(Outcome(Chain(60, 14)), "null");
  EXPECT_EQ(Outcome(Chain(10, 2)).substr(0, 2), "[[");
}

// Callers test counts before reading; the position discipline still holds on its own.
TEST(BPListHostile, ReadsPastTheEndAreRefusedFromAnyPosition) {
  BPListReader reader;
  const std::string list = Assemble({Bytes({0x09})});
  ASSERT_TRUE(reader.open(list.data(), list.size()));
  const int64_t nearEnd = static_cast<int64_t>(list.size()) - 2;
  BPListReaderPeer::SetPos(reader, nearEnd);
  std::string out = "kept";
  BPListReaderPeer::Get(reader, out, 3);
  EXPECT_EQ(out, "kept");
  EXPECT_EQ(BPListReaderPeer::Ptr(reader, 3), nullptr);
  BPListReaderPeer::SetPos(reader, static_cast<int64_t>(list.size()) + 1);
  BPListReaderPeer::SetPos(reader, -1);
  EXPECT_EQ(BPListReaderPeer::Position(reader), nearEnd);
  EXPECT_NE(BPListReaderPeer::Ptr(reader, 2), nullptr);
}

}  // namespace
