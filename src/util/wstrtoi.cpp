// Reads record identifiers and property numbers from the pieces of a key.
#include "veldrake/wstrtoi.h"

#include <cstdlib>
#include <memory>

int wstrtoi(std::wstring text) {
  const size_t size = text.size() + 1;
  std::unique_ptr<char[]> scratch(new char[size]());
  // On a character the locale cannot express wcstombs stops; what came before it stands
  // in the zeroed buffer. The last byte is never written, so the text stays terminated
  // even when multibyte characters fill the buffer.
  std::wcstombs(scratch.get(), text.c_str(), size - 1);
  // atoi's reading (blanks, sign, digits), but defined for numbers beyond int: keys come
  // from the device. Out-of-range values wrap as atoi's do on this platform.
  return static_cast<int>(std::strtol(scratch.get(), nullptr, 10));
}
