// The string operations of the CoreFoundation stand-in that the library calls: UTF-8 and
// UTF-16 in, UTF-8 and UTF-32LE out with '?' for what cannot be encoded, and the
// service name's constant string.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

struct Releaser {
  void operator()(CFStringRef s) const { CFRelease(s); }
};
using Owned = std::unique_ptr<const __CFString, Releaser>;

Owned FromUtf8(const char* text) {
  return Owned(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8));
}
// Kept as given, lone surrogates included.
Owned FromUnits(std::vector<UniChar> units) {
  return Owned(
      CFStringCreateWithCharacters(nullptr, units.data(), static_cast<CFIndex>(units.size())));
}

// Encodes the whole string into a buffer of `limit` bytes followed by canaries.
struct Encoded {
  CFIndex converted;
  CFIndex used;
  std::string bytes;  // the first `used` bytes
  bool canariesIntact;
};
Encoded Encode(CFStringRef s, CFStringEncoding encoding, CFIndex limit, UInt8 loss = '?') {
  std::vector<UInt8> buffer(static_cast<size_t>(limit) + 8, 0xA5);
  CFIndex used = -1;
  const CFIndex converted = CFStringGetBytes(s, CFRange{0, CFStringGetLength(s)}, encoding, loss,
                                             false, buffer.data(), limit, &used);
  bool intact = true;
  for (size_t i = static_cast<size_t>(limit); i < buffer.size(); ++i) intact &= buffer[i] == 0xA5;
  return {converted, used, std::string(buffer.begin(), buffer.begin() + (used < 0 ? 0 : used)),
          intact};
}

TEST(CFStringCreate, RejectsInvalidUtf8) {
  for (const char* bad :
       {"\xC0\x80", "\x80", "ab\xC3", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF", "\xE2\x82"}) {
    EXPECT_EQ(CFStringCreateWithCString(nullptr, bad, kCFStringEncodingUTF8), nullptr) << bad;
  }
}

TEST(CFStringConstant, InternsByTextAndSurvivesRelease) {
  CFStringRef a = __CFStringMakeConstantString("com.apple.mobilesync");
  CFStringRef b = __CFStringMakeConstantString(std::string("com.apple.mobilesync").c_str());
  EXPECT_EQ(a, b);
  EXPECT_NE(a, __CFStringMakeConstantString("com.apple.other"));
  CFRelease(a);  // must not free a constant
  EXPECT_EQ(CFStringGetLength(b), 20);
  EXPECT_EQ(Encode(b, kCFStringEncodingUTF8, 64).bytes, "com.apple.mobilesync");
}

TEST(CFStringGetBytes, EncodesUtf8AndUtf32LeWithoutByteOrderMark) {
  Owned s = FromUtf8("a\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(CFStringGetLength(s.get()), 4);  // the emoji is a surrogate pair
  Encoded utf8 = Encode(s.get(), kCFStringEncodingUTF8, 64);
  EXPECT_EQ(utf8.bytes, "a\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(utf8.converted, 4);
  Encoded utf32 = Encode(s.get(), kCFStringEncodingUTF32LE, 64);
  EXPECT_EQ(utf32.bytes, std::string("a\0\0\0\xE9\0\0\0\x00\xF6\x01\x00", 12));
  EXPECT_EQ(utf32.converted, 4);
  EXPECT_EQ(utf32.used, 12);
}

TEST(CFStringGetBytes, LoneSurrogateBecomesLossByte) {
  Owned s = FromUnits({0x41, 0xDC00, 0x42, 0xD800});
  Encoded utf8 = Encode(s.get(), kCFStringEncodingUTF8, 64);
  EXPECT_EQ(utf8.bytes, "A?B?");
  EXPECT_EQ(utf8.converted, 4);
  Encoded utf32 = Encode(s.get(), kCFStringEncodingUTF32LE, 64);
  EXPECT_EQ(utf32.bytes, std::string("A\0\0\0?\0\0\0B\0\0\0?\0\0\0", 16));
}

TEST(CFStringGetBytes, StopsBeforeACharacterThatWouldPassTheLimit) {
  Owned s = FromUtf8("a\xC3\xA9\xF0\x9F\x98\x80z");  // 1 + 2 + 4 + 1 bytes
  struct Case {
    CFIndex limit, converted, used;
  };
  for (Case c : {Case{0, 0, 0}, Case{1, 1, 1}, Case{2, 1, 1}, Case{3, 2, 3}, Case{6, 2, 3},
                 Case{7, 4, 7}, Case{8, 5, 8}}) {
    Encoded e = Encode(s.get(), kCFStringEncodingUTF8, c.limit);
    EXPECT_EQ(e.converted, c.converted) << "limit " << c.limit;
    EXPECT_EQ(e.used, c.used) << "limit " << c.limit;
    EXPECT_TRUE(e.canariesIntact) << "limit " << c.limit;
  }
  Encoded wide = Encode(s.get(), kCFStringEncodingUTF32LE, 11);  // room for two and a bit
  EXPECT_EQ(wide.used, 8);
  EXPECT_EQ(wide.converted, 2);
  EXPECT_TRUE(wide.canariesIntact);
}

}  // namespace
