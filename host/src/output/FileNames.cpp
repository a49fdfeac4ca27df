// Names made safe for a file system with utf8proc (NFC, case folding, categories).
#include "FileNames.h"

#include <utf8proc.h>

#include <cstdlib>

#include "SafeText.h"

namespace host {
namespace {

const char kReplacement = '_';

// Valid UTF-8 with every character that may not stand in a name replaced.
std::string Cleaned(const std::string& text) {
  return SafeText(text, kReplacement, Separators::kReplaced);
}

bool IsAscii(const std::string& text) {
  for (const char c : text)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

// `text` (valid UTF-8) mapped by utf8proc with `options`; `text` itself when it cannot be.
// ASCII is its own NFC and folds by its letters alone: most names, at a fraction of the cost.
std::string Mapped(const std::string& text, int options) {
  if (IsAscii(text)) {
    std::string out = text;
    if ((options & UTF8PROC_CASEFOLD) != 0)
      for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
  }
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
