// Names made safe for a file system with utf8proc (NFC, case folding, categories).
#include "FileNames.h"

#include <utf8proc.h>

#include <cstdlib>

namespace host {
namespace {

const char kReplacement = '_';

// Characters that change how a name reads without being seen (direction overrides and
// isolates, line and paragraph separators) or that a file system or shell treats
// specially.
bool Forbidden(utf8proc_int32_t c) {
  if (c == '/' || c == '\\' || c == 0) return true;
  if ((c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069)) return true;
  if (c == 0x200E || c == 0x200F || c == 0xFEFF) return true;
  const utf8proc_category_t category = utf8proc_category(c);
  return category == UTF8PROC_CATEGORY_CC || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP || category == UTF8PROC_CATEGORY_CS;
}

// Valid UTF-8 with every forbidden character (and every invalid byte) replaced.
std::string Cleaned(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  size_t at = 0;
  while (at < text.size()) {
    utf8proc_int32_t c = 0;
    const utf8proc_ssize_t n =
        utf8proc_iterate(bytes + at, static_cast<utf8proc_ssize_t>(text.size() - at), &c);
    if (n <= 0) {
      out += kReplacement;
      ++at;
      continue;
    }
    if (Forbidden(c))
      out += kReplacement;
    else
      out.append(text, at, static_cast<size_t>(n));
    at += static_cast<size_t>(n);
  }
  return out;
}

// `text` (valid UTF-8) mapped by utf8proc with `options`; `text` itself when it cannot be.
std::string Mapped(const std::string& text, int options) {
  utf8proc_uint8_t* result = nullptr;
  const utf8proc_ssize_t n = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.c_str()),
                                          static_cast<utf8proc_ssize_t>(text.size()), &result,
                                          static_cast<utf8proc_option_t>(options));
  if (n < 0) return text;
  std::string out(reinterpret_cast<const char*>(result), static_cast<size_t>(n));
  std::free(result);
  return out;
}

std::string Trimmed(const std::string& text) {
  size_t begin = 0;
  while (begin < text.size() && (text[begin] == '.' || text[begin] == ' ')) ++begin;
  size_t end = text.size();
  while (end > begin && text[end - 1] == ' ') --end;
  return text.substr(begin, end - begin);
}

}  // namespace

std::string CutAtCharacter(const std::string& text, size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  size_t end = maxBytes;
  // Back over continuation bytes (10xxxxxx) to the start of the character cut through.
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

std::string SafeFileName(const std::string& text, size_t maxBytes, const std::string& fallback) {
  const std::string nfc = Mapped(Cleaned(text), UTF8PROC_STABLE | UTF8PROC_COMPOSE);
  const std::string name = Trimmed(CutAtCharacter(Trimmed(nfc), maxBytes));
  return name.empty() ? fallback : name;
}

std::string FoldedKey(const std::string& name) {
  return Mapped(Cleaned(name), UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_CASEFOLD);
}

}  // namespace host
