// Fuzz target for the backup keybag: parse the bytes, then unwrap every class key with a
// fixed passcode key (the derivation's cost is the keybag's and not what is under test).
// A keybag that parses must also unlock or fail cleanly, and give keys of 32 bytes only.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Crypto.h"
#include "Keybag.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using veldrake::backup::Keybag;
  Keybag keybag;
  std::string why;
  if (!keybag.Parse(std::string(reinterpret_cast<const char*>(data), size), &why)) {
    if (why.empty()) std::abort();  // every refusal says why
    return 0;
  }
  // The seeds' class keys are wrapped with this key, so the unwrap's both ends are reached.
  const std::string passcodeKey(veldrake::backup::kAesKeyBytes, '\x11');
  const Keybag::Opened opened = keybag.Unlock(passcodeKey);
  for (uint32_t c = 0; c < 12; ++c) {
    const std::string* key = keybag.ClassKey(c);
    if (key != nullptr && (opened != Keybag::kOpened || key->size() != 32)) std::abort();
  }
  return 0;
}
