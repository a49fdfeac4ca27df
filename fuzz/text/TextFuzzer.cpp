// Drives the exported text functions with arbitrary bytes. Destinations are allocated at
// exactly the size their contract promises, so AddressSanitizer flags any write past it;
// properties that must hold for every input end the run with a trap.
//
// Input: byte 0 is the capacity for Char2Unicode, byte 1 the capacity for Uincode2Char,
// the rest is the text (a C string up to its first NUL for Char2Unicode, 32-bit wide
// characters for Uincode2Char, raw bytes for the encoders).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include <utf8cpp/utf8.h>

#include "veldrake/Encoders.h"
#include "veldrake/TextConversion.h"

namespace {

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

void FuzzEncoders(const std::string& bytes) {
  const std::string encoded = base64_encode(bytes);
  Require(encoded.size() == (bytes.size() + 2) / 3 * 4 + bytes.size() / 57);
  // Decoding stops at the first line break, so only the first 57 bytes come back.
  Require(base64_decode(encoded) == bytes.substr(0, 57));

  const std::string decoded = base64_decode(bytes);
  Require(decoded.size() <= bytes.size() * 3 / 4 + 2);

  size_t expected = 0;
  for (char byte : bytes) {
    const unsigned char c = static_cast<unsigned char>(byte);
    if (c < 10)
      expected += 4;
    else if (c < 0x20)
      expected += 5;
    else if (c == '&')
      expected += 5;
    else if (c == '<' || c == '>')
      expected += 4;
    else
      expected += 1;
  }
  Require(html_encode(bytes).size() == expected);
}

// Returns the wide text written (up to its terminator).
std::wstring FuzzChar2Unicode(const std::string& text, int capacity) {
  std::unique_ptr<char[]> source(new char[text.size() + 1]);
  std::memcpy(source.get(), text.c_str(), text.size() + 1);
  std::unique_ptr<wchar_t[]> destination(new wchar_t[static_cast<size_t>(capacity) + 1]);
  const int result = Char2Unicode(source.get(), destination.get(), capacity);
  if (!utf8::is_valid(text.begin(), text.end())) {
    // Only the first `capacity` elements are zeroed; no terminator is stored behind them.
    Require(result == 0);
    for (size_t i = 0; i < static_cast<size_t>(capacity); ++i) Require(destination[i] == 0);
    return std::wstring();
  }
  size_t length = 0;
  while (length <= static_cast<size_t>(capacity) && destination[length] != 0) ++length;
  Require(length <= static_cast<size_t>(capacity));
  size_t units = 0;
  for (size_t i = 0; i < length; ++i) units += destination[i] > 0xFFFF ? 2u : 1u;
  Require(static_cast<size_t>(result) == units);
  return std::wstring(destination.get(), length);
}

void FuzzUincode2Char(const std::wstring& wide, int capacity) {
  std::unique_ptr<wchar_t[]> source(new wchar_t[wide.size() + 1]);
  std::memcpy(source.get(), wide.c_str(), sizeof(wchar_t) * (wide.size() + 1));
  const size_t size = 8 * static_cast<size_t>(capacity) + 1;
  std::unique_ptr<char[]> destination(new char[size]);
  const int result = Uincode2Char(source.get(), destination.get(), capacity);
  const size_t length = strnlen(destination.get(), size);
  Require(length < size);
  Require(result >= 0 && static_cast<size_t>(result) <= wide.size());
  Require(utf8::is_valid(destination.get(), destination.get() + length));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int wideCapacity = data[0];
  const int narrowCapacity = data[1] % 64;
  const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);

  FuzzEncoders(rest);

  const std::string text = rest.c_str();  // up to the first NUL
  const std::wstring converted = FuzzChar2Unicode(text, wideCapacity);
  // Back to UTF-8: text without characters above U+FFFF, all of it converted, returns
  // as it was.
  bool bmp = true;
  for (wchar_t c : converted) bmp &= c <= 0xFFFF;
  if (bmp && converted.size() <= static_cast<size_t>(wideCapacity) &&
      utf8::is_valid(text.begin(), text.end()) &&
      utf8::distance(text.begin(), text.end()) == static_cast<std::ptrdiff_t>(converted.size())) {
    const size_t size8 = 8 * converted.size() + 1;
    std::unique_ptr<char[]> back(new char[size8]);
    Uincode2Char(converted.c_str(), back.get(), static_cast<int>(converted.size()));
    Require(text == back.get());
  }

  std::wstring wide(rest.size() / sizeof(wchar_t), L'\0');
  std::memcpy(&wide[0], rest.data(), wide.size() * sizeof(wchar_t));
  FuzzUincode2Char(wide.c_str(), narrowCapacity);
  return 0;
}
