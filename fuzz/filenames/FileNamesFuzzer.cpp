// Drives the host's file-name making with arbitrary bytes, as a backup's note titles and
// folder names are: whatever comes in, the name given out is one safe path component, and
// making it again changes nothing.
//
// Input: byte 0 is the most bytes the name may take (1 to 255), the rest is the text.
#include <utf8proc.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "FileNames.h"
#include "SafeText.h"

namespace {

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

bool ValidUtf8(const std::string& text) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  for (size_t at = 0; at < text.size();) {
    utf8proc_int32_t c = 0;
    const utf8proc_ssize_t n =
        utf8proc_iterate(bytes + at, static_cast<utf8proc_ssize_t>(text.size() - at), &c);
    if (n <= 0) return false;
    at += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t most = data[0] == 0 ? 1 : data[0];
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string name = host::SafeFileName(text, most, "Untitled");
  Require(!name.empty() && (name.size() <= most || name == "Untitled"));
  Require(name != "." && name != ".." && name[0] != '.');
  Require(ValidUtf8(name));
  for (char c : name) Require(c != '/' && c != '\\' && static_cast<unsigned char>(c) >= 0x20);
  if (name.size() <= most) Require(host::SafeFileName(name, most, "Untitled") == name);
  Require(host::FoldedKey(name) == host::FoldedKey(host::FoldedKey(name)));
  const std::string shown = host::SafeText(text, '?', host::Separators::kKept);
  Require(ValidUtf8(shown));
  for (char c : shown) Require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);
  return 0;
}
