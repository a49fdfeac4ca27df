// A strict UTF-8 decoder and encoder.
#include "NoteText.h"

namespace veldrake::backup {
namespace {

constexpr char32_t kMaxPoint = 0x10FFFF;

bool IsSurrogate(char32_t point) {
  return point >= 0xD800 && point <= 0xDFFF;
}

}  // namespace

DecodedChar DecodeUtf8(const std::string& text, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  size_t length = 0;
  char32_t point = 0, least = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, point = lead & 0x1F, least = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, point = lead & 0x0F, least = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, point = lead & 0x07, least = 0x10000;
  } else {
    return {kReplacementChar, 1};
  }
  if (text.size() - at < length) return {kReplacementChar, 1};
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {kReplacementChar, 1};
    point = (point << 6) | (byte(i) & 0x3F);
  }
  if (point < least || point > kMaxPoint || IsSurrogate(point)) return {kReplacementChar, 1};
  return {point, length};
}

void AppendUtf8(char32_t point, std::string* out) {
  if (point > kMaxPoint || IsSurrogate(point)) point = kReplacementChar;
  if (point < 0x80) {
    out->push_back(static_cast<char>(point));
  } else if (point < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (point >> 6)));
    out->push_back(static_cast<char>(0x80 | (point & 0x3F)));
  } else if (point < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (point >> 12)));
    out->push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (point & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (point >> 18)));
    out->push_back(static_cast<char>(0x80 | ((point >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (point & 0x3F)));
  }
}

std::string LinkTarget(const std::string& url) {
  std::string target;
  for (char c : url)
    if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) target += c;
  if (target.find_first_of(" ()<>") == std::string::npos) return target;
  return "<" + target + ">";
}

}  // namespace veldrake::backup
