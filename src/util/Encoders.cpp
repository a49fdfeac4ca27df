// HTML escaping and Base64.
#include "veldrake/Encoders.h"

#include <cstdint>
#include <cstdio>

// The Base64 alphabet; a character's position is its 6-bit value. Built at load, before
// any exported function can run, and hidden like everything not marked for export.
const std::string base64_chars =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
    "abcdefghijklmnopqrstuvwxyz"
    "0123456789+/";

namespace {

const size_t kLineLength = 76;

// The decoder's alphabet test. ASCII only, whatever the locale says about bytes from 0x80
// up: such a byte has no 6-bit value, so it ends the text like any other stranger.
bool IsBase64Char(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
         c == '/';
}

}  // namespace

std::string html_encode(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c < 0x20) {
      char entity[8];
      std::snprintf(entity, sizeof entity, "&#%d;", c);
      out += entity;
    } else if (c == '&') {
      out += "&amp;";
    } else if (c == '<') {
      out += "&lt;";
    } else if (c == '>') {
      out += "&gt;";
    } else {
      out += ch;
    }
  }
  return out;
}

std::string base64_encode(const unsigned char* bytes, unsigned int count) {
  std::string out;
  if (count == 0) return out;
  out.reserve((count + 2) / 3 * 4 + count / 57 + 1);
  size_t lineUsed = 0;
  unsigned int at = 0;
  for (; count - at >= 3; at += 3) {
    const uint32_t group =
        (uint32_t{bytes[at]} << 16) | (uint32_t{bytes[at + 1]} << 8) | uint32_t{bytes[at + 2]};
    for (int shift = 18; shift >= 0; shift -= 6) out += base64_chars[(group >> shift) & 0x3F];
    lineUsed += 4;
    if (lineUsed >= kLineLength) {
      out += '\n';
      lineUsed = 0;
    }
  }
  const unsigned int left = count - at;
  if (left > 0) {
    uint32_t group = uint32_t{bytes[at]} << 16;
    if (left == 2) group |= uint32_t{bytes[at + 1]} << 8;
    out += base64_chars[(group >> 18) & 0x3F];
    out += base64_chars[(group >> 12) & 0x3F];
    out += left == 2 ? base64_chars[(group >> 6) & 0x3F] : '=';
    out += '=';
  }
  return out;
}

std::string base64_encode(const std::string& bytes) {
  return base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                       static_cast<unsigned int>(bytes.size()));
}

std::string base64_decode(const std::string& text) {
  std::string out;
  out.reserve(text.size() / 4 * 3 + 2);
  uint32_t group = 0;
  int held = 0;
  for (const char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (!IsBase64Char(c)) break;  // "=" included
    group = (group << 6) | static_cast<uint32_t>(base64_chars.find(static_cast<char>(c)));
    if (++held == 4) {
      out += static_cast<char>(group >> 16);
      out += static_cast<char>(group >> 8);
      out += static_cast<char>(group);
      group = 0;
      held = 0;
    }
  }
  // A short group still yields the bytes its characters cover: n characters, n - 1 bytes.
  if (held >= 2) {
    group <<= 6 * (4 - held);
    out += static_cast<char>(group >> 16);
    if (held == 3) out += static_cast<char>(group >> 8);
  }
  return out;
}
