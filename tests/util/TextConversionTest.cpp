// UTF-8 <-> wide text through the platform string object: results, terminators and the
// buffer contracts at their limits. Every destination sits between canaries.
#include "veldrake/TextConversion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const wchar_t kWideCanary = static_cast<wchar_t>(0x7E7E7E7E);
const char kCanary = '\x7E';
const size_t kGuard = 16;

// Char2Unicode into a buffer of exactly capacity + 1 elements, guarded on both sides.
struct WideRun {
  int result;
  std::vector<wchar_t> out;  // the capacity + 1 contract elements
  bool guardsIntact;
};
WideRun RunChar2Unicode(const char* source, int capacity, wchar_t fill = kWideCanary) {
  const size_t size = static_cast<size_t>(capacity) + 1;
  std::vector<wchar_t> buffer(kGuard + size + kGuard, kWideCanary);
  std::fill(buffer.data() + kGuard, buffer.data() + kGuard + size, fill);
  const int result = Char2Unicode(source, buffer.data() + kGuard, capacity);
  bool intact = true;
  for (size_t i = 0; i < kGuard; ++i)
    intact &= buffer[i] == kWideCanary && buffer[kGuard + size + i] == kWideCanary;
  return {result, std::vector<wchar_t>(buffer.data() + kGuard, buffer.data() + kGuard + size),
          intact};
}

struct NarrowRun {
  int result;
  std::string out;  // up to the NUL written
  size_t nulAt;
  bool guardsIntact;
};
NarrowRun RunUincode2Char(const std::vector<wchar_t>& units, int capacity) {
  std::vector<wchar_t> source(units);
  source.push_back(0);
  const size_t size = 8 * static_cast<size_t>(capacity) + 1;
  std::vector<char> buffer(kGuard + size + kGuard, kCanary);
  const int result = Uincode2Char(source.data(), buffer.data() + kGuard, capacity);
  bool intact = true;
  for (size_t i = 0; i < kGuard; ++i)
    intact &= buffer[i] == kCanary && buffer[kGuard + size + i] == kCanary;
  size_t nul = 0;
  while (nul < size && buffer[kGuard + nul] != '\0') ++nul;
  return {result, std::string(buffer.data() + kGuard, nul), nul, intact};
}

// The result counts UTF-16 units, the capacity counts elements; a character above the BMP
// fills one element but counts two.
TEST(Char2Unicode, CapacityCutsTheTextAndTerminatesBehindIt) {
  const char* emoji = "a\xF0\x9F\x98\x80z";
  const struct {
    const char* text;
    int capacity, result;
    std::vector<wchar_t> out;
  } cases[] = {
      {"", 4, 0, {0}},
      {"abcde", 2, 2, {L'a', L'b', 0}},
      {"h\xC3\xA9llo", 5, 5, {L'h', 0xE9, L'l', L'l', L'o', 0}},
      {"h\xC3\xA9llo", 4, 4, {L'h', 0xE9, L'l', L'l', 0}},
      {"abc", 0, 0, {0}},
      {emoji, 3, 4, {L'a', 0x1F600, L'z', 0}},
      {emoji, 2, 3, {L'a', 0x1F600, 0}},
      {emoji, 1, 1, {L'a', 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " in " + std::to_string(c.capacity));
    const WideRun r = RunChar2Unicode(c.text, c.capacity);
    EXPECT_EQ(r.result, c.result);
    EXPECT_EQ(std::vector<wchar_t>(r.out.data(), r.out.data() + c.out.size()), c.out);
    EXPECT_TRUE(r.guardsIntact);
  }
}

TEST(Char2Unicode, InvalidUtf8GivesZeroAndAZeroedDestination) {
  for (const char* bad : {"ab\xC3", "\xED\xA0\x80", "x\xC0\x80", "\xFF"}) {
    WideRun r = RunChar2Unicode(bad, 3, L'#');
    EXPECT_EQ(r.result, 0) << bad;
    EXPECT_EQ(r.out, (std::vector<wchar_t>{0, 0, 0, L'#'})) << bad;
    EXPECT_TRUE(r.guardsIntact);
  }
}

// The capacity counts eight-byte units; a character that would end past them is left out
// whole, and the result counts the UTF-16 units converted.
TEST(Uincode2Char, CapacityCountsEightByteUnits) {
  const struct {
    std::vector<wchar_t> units;
    int capacity, result;
    std::string out;
  } cases[] = {
      {{0xE9}, 1, 1, "\xC3\xA9"},
      {{0xD83D, 0xDE00}, 1, 2, "\xF0\x9F\x98\x80"},
      {std::vector<wchar_t>(9, L'x'), 1, 8, "xxxxxxxx"},
      {{'a', 'b', 'c', 'd', 'e', 'f', 'g', 0xE9}, 1, 7, "abcdefg"},
      {{'a'}, 0, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.out);
    const NarrowRun r = RunUincode2Char(c.units, c.capacity);
    EXPECT_EQ(r.result, c.result);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.nulAt, c.out.size());
    EXPECT_TRUE(r.guardsIntact);
  }
}

TEST(Uincode2Char, OnlyTheLow16BitsOfEachElementCount) {
  // A lone surrogate cannot be written in UTF-8.
  EXPECT_EQ(RunUincode2Char({'a', 0xD800, 'b'}, 1).out, "a?b");
  // 0x1F600 reads as the unit 0xF600.
  EXPECT_EQ(RunUincode2Char({0x1F600}, 1).out, "\xEF\x98\x80");
  // 0x20000 reads as a zero unit: the text ends there.
  NarrowRun ended = RunUincode2Char({'a', 0x20000, 'b'}, 1);
  EXPECT_EQ(ended.result, 1);
  EXPECT_EQ(ended.out, "a");
}

TEST(Uincode2Char, NullDestinationGivesZero) {
  EXPECT_EQ(Uincode2Char(L"abc", nullptr, 4), 0);
}

}  // namespace
