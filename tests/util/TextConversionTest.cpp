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
  std::fill(buffer.begin() + kGuard, buffer.begin() + kGuard + size, fill);
  const int result = Char2Unicode(source, buffer.data() + kGuard, capacity);
  bool intact = true;
  for (size_t i = 0; i < kGuard; ++i)
    intact &= buffer[i] == kWideCanary && buffer[kGuard + size + i] == kWideCanary;
  return {result, std::vector<wchar_t>(buffer.begin() + kGuard, buffer.begin() + kGuard + size),
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

TEST(Char2Unicode, EmptyTextGivesZeroAndATerminator) {
  WideRun r = RunChar2Unicode("", 4);
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out[0], 0);
  EXPECT_TRUE(r.guardsIntact);
}

TEST(Char2Unicode, CapacityCutsTheTextAndTerminatesBehindIt) {
  WideRun r = RunChar2Unicode("abcde", 2);
  EXPECT_EQ(r.result, 2);
  EXPECT_EQ(r.out, (std::vector<wchar_t>{L'a', L'b', 0}));
  EXPECT_TRUE(r.guardsIntact);
}

TEST(Char2Unicode, CapacityExactlyReachedAndOneShort) {
  WideRun exact = RunChar2Unicode("h\xC3\xA9llo", 5);
  EXPECT_EQ(exact.result, 5);
  EXPECT_EQ(exact.out, (std::vector<wchar_t>{L'h', 0xE9, L'l', L'l', L'o', 0}));
  EXPECT_TRUE(exact.guardsIntact);
  WideRun shortBy1 = RunChar2Unicode("h\xC3\xA9llo", 4);
  EXPECT_EQ(shortBy1.result, 4);
  EXPECT_EQ(shortBy1.out, (std::vector<wchar_t>{L'h', 0xE9, L'l', L'l', 0}));
  EXPECT_TRUE(shortBy1.guardsIntact);
  WideRun none = RunChar2Unicode("abc", 0);
  EXPECT_EQ(none.result, 0);
  EXPECT_EQ(none.out[0], 0);
  EXPECT_TRUE(none.guardsIntact);
}

TEST(Char2Unicode, CharacterAboveBmpFillsOneElementButCountsTwo) {
  const char* text = "a\xF0\x9F\x98\x80z";
  WideRun all = RunChar2Unicode(text, 3);
  EXPECT_EQ(all.result, 4);
  EXPECT_EQ(all.out, (std::vector<wchar_t>{L'a', 0x1F600, L'z', 0}));
  WideRun two = RunChar2Unicode(text, 2);
  EXPECT_EQ(two.result, 3);
  EXPECT_EQ(two.out, (std::vector<wchar_t>{L'a', 0x1F600, 0}));
  WideRun one = RunChar2Unicode(text, 1);
  EXPECT_EQ(one.result, 1);
  EXPECT_EQ(one.out, (std::vector<wchar_t>{L'a', 0}));
  EXPECT_TRUE(all.guardsIntact && two.guardsIntact && one.guardsIntact);
}

TEST(Char2Unicode, InvalidUtf8GivesZeroAndAZeroedDestination) {
  for (const char* bad : {"ab\xC3", "\xED\xA0\x80", "x\xC0\x80", "\xFF"}) {
    WideRun r = RunChar2Unicode(bad, 3, L'#');
    EXPECT_EQ(r.result, 0) << bad;
    EXPECT_EQ(r.out, (std::vector<wchar_t>{0, 0, 0, L'#'})) << bad;
    EXPECT_TRUE(r.guardsIntact);
  }
}

TEST(Uincode2Char, TwoByteCharacterCountsOneUnit) {
  NarrowRun r = RunUincode2Char({0xE9}, 1);
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r.out, "\xC3\xA9");
  EXPECT_EQ(r.nulAt, 2u);
  EXPECT_TRUE(r.guardsIntact);
}

TEST(Uincode2Char, SurrogatePairBecomesOneFourByteCharacter) {
  NarrowRun r = RunUincode2Char({0xD83D, 0xDE00}, 1);
  EXPECT_EQ(r.result, 2);
  EXPECT_EQ(r.out, "\xF0\x9F\x98\x80");
  EXPECT_TRUE(r.guardsIntact);
}

TEST(Uincode2Char, CapacityCountsEightByteUnits) {
  const std::vector<wchar_t> nine(9, L'x');
  NarrowRun full = RunUincode2Char(nine, 1);
  EXPECT_EQ(full.result, 8);
  EXPECT_EQ(full.out, "xxxxxxxx");
  EXPECT_EQ(full.nulAt, 8u);
  EXPECT_TRUE(full.guardsIntact);
  // "é" would end at byte 9, past the 8 allowed: it is left out whole.
  NarrowRun cut = RunUincode2Char({'a', 'b', 'c', 'd', 'e', 'f', 'g', 0xE9}, 1);
  EXPECT_EQ(cut.result, 7);
  EXPECT_EQ(cut.out, "abcdefg");
  EXPECT_TRUE(cut.guardsIntact);
  NarrowRun none = RunUincode2Char({'a'}, 0);
  EXPECT_EQ(none.result, 0);
  EXPECT_EQ(none.nulAt, 0u);
  EXPECT_TRUE(none.guardsIntact);
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

TEST(TextStubs, AnswerZeroWhateverTheyAreGiven) {
  EXPECT_EQ(utf8_to_utf16("abc"), 0);
  EXPECT_EQ(utf8_to_utf16(nullptr), 0);
  EXPECT_EQ(get_module_path(), 0);
  const std::string existing = __FILE__;  // this very source file
  EXPECT_EQ(IsFileExsitW(std::wstring(existing.begin(), existing.end()).c_str()), 0);
}

}  // namespace
