// Decoding a property's bytes: quoted-printable, then the declared charset to UTF-8.
#include <errno.h>
#include <iconv.h>

#include <cctype>

#include "VCardText.h"

namespace devicesim {
namespace {

const char kReplacementUtf8[] = "\xEF\xBF\xBD";  // U+FFFD
const char kFallbackCharset[] = "WINDOWS-1252";
const iconv_t kNoConversion = reinterpret_cast<iconv_t>(-1);

bool ValidUtf8(const std::string& s) {
  size_t i = 0;
  while (i < s.size()) {
    unsigned char b = static_cast<unsigned char>(s[i]);
    size_t len = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 0;
    if (len == 0 || i + len > s.size()) return false;
    for (size_t k = 1; k < len; ++k)
      if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
    i += len;
  }
  return true;
}

bool IsUtf8Name(const std::string& charset) {
  return charset.empty() || charset == "UTF-8" || charset == "UTF8" || charset == "US-ASCII";
}

// Every byte through `cd`; a byte it cannot decode becomes U+FFFD.
std::string Convert(iconv_t cd, const std::string& bytes) {
  std::string out;
  std::string in = bytes;
  char* inPtr = &in[0];
  size_t inLeft = in.size();
  char buffer[4096];
  while (inLeft > 0) {
    char* outPtr = buffer;
    size_t outLeft = sizeof buffer;
    const size_t r = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
    out.append(buffer, sizeof buffer - outLeft);
    if (r == static_cast<size_t>(-1) && errno != E2BIG) {
      out += kReplacementUtf8;
      ++inPtr;
      --inLeft;
    }
  }
  return out;
}

int Hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

std::string ToUtf8(const std::string& bytes, std::string charset) {
  charset = Upper(charset);
  if (IsUtf8Name(charset)) {
    if (ValidUtf8(bytes)) return bytes;
    charset = kFallbackCharset;
  }
  iconv_t cd = iconv_open("UTF-8", charset.c_str());
  if (cd == kNoConversion) {
    if (ValidUtf8(bytes)) return bytes;
    cd = iconv_open("UTF-8", kFallbackCharset);
    if (cd == kNoConversion) return bytes;
  }
  std::string out = Convert(cd, bytes);
  iconv_close(cd);
  return out;
}

std::string DecodeQuotedPrintable(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '=' && i + 2 < s.size() && Hex(s[i + 1]) >= 0 && Hex(s[i + 2]) >= 0) {
      out.push_back(static_cast<char>(Hex(s[i + 1]) * 16 + Hex(s[i + 2])));
      i += 2;
    } else if (s[i] == '=' && i + 1 == s.size()) {
      // a soft break at the very end
    } else {
      out.push_back(s[i]);
    }
  }
  return out;
}

}  // namespace devicesim
