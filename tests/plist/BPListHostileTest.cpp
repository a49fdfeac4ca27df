// Lists a hostile or broken device could send: each must end in a refused open or a null
// root, fast, with nothing read outside the bytes (the sanitizer build proves the latter).
#include <gtest/gtest.h>

#include "ListBytes.h"

namespace {

using listbytes::Assemble;
using listbytes::BE;
using listbytes::Bytes;
using listbytes::Decode;
using listbytes::Trailer;

bool Opens(const std::string& bytes) {
  BPListReader reader;
  return reader.open(bytes.data(), bytes.size());
}

// One true object at 8, then whatever trailer the case wants.
std::string WithTrailer(unsigned offsetSize, unsigned refSize, uint64_t numObjects,
                        uint64_t tableOffset) {
  return "bplist00" + Bytes({0x09, 0x08}) +
         Trailer(offsetSize, refSize, numObjects, 0, tableOffset);
}

TEST(BPListHostile, TrailerBreakingALimitIsRefused) {
  EXPECT_TRUE(Opens(WithTrailer(1, 1, 1, 9)));
  EXPECT_FALSE(Opens(WithTrailer(9, 1, 1, 9)));
  EXPECT_FALSE(Opens(WithTrailer(1, 9, 1, 9)));
  EXPECT_FALSE(Opens(WithTrailer(1, 1, 1, 43)));
  EXPECT_FALSE(Opens(WithTrailer(1, 1, 1, ~0ULL)));
  // The table runs from 9 to the end: 33 one-byte entries fit, 34 do not.
  EXPECT_TRUE(Opens(WithTrailer(1, 1, 33, 9)));
  EXPECT_FALSE(Opens(WithTrailer(1, 1, 34, 9)));
  EXPECT_FALSE(Opens(WithTrailer(2, 1, 17, 9)));
  // Counts that would overflow a multiplication, or exhaust memory if trusted.
  EXPECT_FALSE(Opens(WithTrailer(8, 1, 1ULL << 60, 9)));
  EXPECT_FALSE(Opens(WithTrailer(8, 1, 1ULL << 61, 0)));
  EXPECT_FALSE(Opens(WithTrailer(0, 1, 1ULL << 60, 9)));
  EXPECT_FALSE(Opens(WithTrailer(1, 1, ~0ULL, 9)));
}

TEST(BPListHostile, BrokenReferencesGiveANullRoot) {
  EXPECT_TRUE(Decode(Assemble({Bytes({0xA1, 1})})) == prop::Null);        // ref past the table
  EXPECT_TRUE(Decode(Assemble({Bytes({0x09})}, 1, 1, 1)) == prop::Null);  // root past it
  std::string badOffset = Assemble({Bytes({0xA1, 1}), Bytes({0x09})});
  badOffset[badOffset.size() - 32 - 1] = static_cast<char>(200);  // entry 1 past the end
  EXPECT_TRUE(Decode(badOffset) == prop::Null);
  // An offset equal to the length: the marker read itself meets the end.
  std::string atEnd = Assemble({Bytes({0x09})}, 2);
  atEnd.replace(atEnd.size() - 34, 2, BE(atEnd.size(), 2));
  EXPECT_TRUE(Decode(atEnd) == prop::Null);
}

TEST(BPListHostile, ObjectsOfImpossibleShapeGiveANullRoot) {
  const std::string cases[] = {
      Bytes({0x21, 0, 0}),                             // real of two bytes
      Bytes({0x24}) + std::string(16, '\0'),           // real of sixteen
      Bytes({0x32, 0, 0, 0, 0}),                       // date of four bytes
      Bytes({0x34}) + std::string(16, '\0'),           // date of sixteen
      Bytes({0x5F, 0x51, 'x', 'x'}),                   // count object that is a string
      Bytes({0x5F, 0x00}),                             // count object that is null
      Bytes({0xAF, 0x23}) + std::string(8, '\0'),      // count object that is a real
      Bytes({0x5F, 0x13}) + BE(1ULL << 40, 8) + "ab",  // count beyond the data
      Bytes({0x4F, 0x13}) + std::string(8, '\xFF'),    // negative count
      Bytes({0xDF, 0x13}) + BE(1ULL << 63, 8),         // negative count
      Bytes({0x6F, 0x10, 0x1E}),                       // 30 units, 33 bytes left
      Bytes({0xAF, 0x12}) + BE(0xFFFFFF, 4),           // reference list beyond the data
      Bytes({0x1F, 0x00}),                             // integer wider than the data
      Bytes({0x8E, 0x00, 0x00}),                       // UID wider than the data
  };
  for (const std::string& object : cases)
    EXPECT_TRUE(Decode(Assemble({object})) == prop::Null) << testing::PrintToString(object);
}

TEST(BPListHostile, KeysThatAreNoAsciiOrUtf16StringGiveANullRoot) {
  const std::string keys[] = {Bytes({0x10, 1}),    Bytes({0x00}),      Bytes({0x09}),
                              Bytes({0xA0}),       Bytes({0x41, 'k'}), Bytes({0x52, 'k', 0xFF}),
                              Bytes({0x51, 0x80}), Bytes({0x70})};
  for (const std::string& key : keys)
    EXPECT_TRUE(Decode(Assemble({Bytes({0xD1, 1, 2}), key, Bytes({0x09})})) == prop::Null)
        << testing::PrintToString(key);
  EXPECT_TRUE(
      Decode(Assemble({Bytes({0xD1, 1, 2}), Bytes({0x51, 0x7F}), Bytes({0x09})})).hasTag(0xD0));
}

TEST(BPListHostile, CyclesGiveANullRoot) {
  EXPECT_TRUE(Decode(Assemble({Bytes({0xA1, 0})})) == prop::Null);
  EXPECT_TRUE(Decode(Assemble({Bytes({0xA1, 1}), Bytes({0xD1, 2, 0}), Bytes({0x51, 'k'})})) ==
              prop::Null);
  // Width-0 references all lead to object 0, the array itself.
  EXPECT_TRUE(Decode(Assemble({Bytes({0xA2})}, 1, 0)) == prop::Null);
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

TEST(BPListHostile, DeepNestingStopsAtTheDepthLimit) {
  EXPECT_TRUE(Decode(Chain(100000, 1)) == prop::Null);
  EXPECT_TRUE(Decode(Chain(BPListReader::kMaxDepth, 1)) == prop::Null);
  EXPECT_TRUE(Decode(Chain(BPListReader::kMaxDepth - 1, 1)).hasTag(0xA0));
}

TEST(BPListHostile, ExponentialSharingStopsAtTheObjectBudget) {
  EXPECT_TRUE(Decode(Chain(60, 2)) == prop::Null);
  EXPECT_TRUE(Decode(Chain(60, 14)) == prop::Null);
  // Moderate sharing stays within the budget: 2^10 leaves.
  prop shared = Decode(Chain(10, 2));
  ASSERT_TRUE(shared.hasTag(0xA0));
  EXPECT_EQ(shared._value->array->size(), 2u);
}

TEST(BPListHostile, GetAndPtrRefuseReadsPastTheEnd) {
  BPListReader reader;
  const std::string list = Assemble({Bytes({0x09})});
  ASSERT_TRUE(reader.open(list.data(), list.size()));
  reader.setpos(reader._length - 2);
  std::string out = "kept";
  reader.get(out, 3);
  EXPECT_TRUE(reader._failed);
  EXPECT_EQ(out, "kept");
  reader.get(out, ~0UL);
  EXPECT_EQ(out, "kept");
  EXPECT_EQ(reader.ptr(3), nullptr);
  EXPECT_EQ(reader.ptr(-1), nullptr);
  reader.setpos(reader._length + 1);
  reader.setpos(-1);
  EXPECT_EQ(reader._start, reader._length - 2);
  EXPECT_NE(reader.ptr(2), nullptr);
}

}  // namespace
