// Drives a locked note's parameters and data through the password scheme and, when a
// password opens it, the body's readers. The input is: one byte of rounds (1 to 8, so a
// run stays fast), 16 bytes of salt, 24 of wrapped key, a length byte and the IV, a length
// byte and the tag, then the data. The passwords tried are "pw" and "". Properties that
// must hold for every input end the run with a trap.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "NoteCrypto.h"
#include "NoteDocument.h"
#include "NoteInflate.h"
#include "NoteProto.h"
#include "NoteRender.h"

namespace {

using namespace veldrake::backup;

constexpr size_t kFuzzCap = size_t{1} << 20;
constexpr size_t kMaxRounds = 8;

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

// Takes `count` bytes from the front of `input` (fewer when it runs out).
std::string Take(std::string* input, size_t count) {
  const std::string front = input->substr(0, count);
  input->erase(0, front.size());
  return front;
}

void ReadBody(const std::string& plain) {
  std::string inflated;
  if (InflateNoteBody(reinterpret_cast<const uint8_t*>(plain.data()), plain.size(), kFuzzCap,
                      &inflated) != Inflated::kOk)
    return;
  NoteBody body;
  NoteDocument document;
  if (!ParseNoteBody(reinterpret_cast<const uint8_t*>(inflated.data()), inflated.size(), &body) ||
      !BuildNoteDocument(std::move(body), kFuzzCap, &document))
    return;
  std::string out;
  if (RenderNote(document, 1, NoteFormat::kHtml, ObjectLookup(), kFuzzCap, &out))
    Require(out.size() <= kFuzzCap);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
  LockedObject lock;
  const std::string rounds = Take(&input, 1);
  lock.iterations = rounds.empty() ? 0 : 1 + static_cast<uint8_t>(rounds[0]) % kMaxRounds;
  lock.salt = Take(&input, 16);
  lock.wrappedKey = Take(&input, 24);
  const std::string ivLength = Take(&input, 1);
  lock.iv = Take(&input, ivLength.empty() ? 0 : static_cast<uint8_t>(ivLength[0]) % 40);
  const std::string tagLength = Take(&input, 1);
  lock.tag = Take(&input, tagLength.empty() ? 0 : static_cast<uint8_t>(tagLength[0]) % 20);
  std::string key, plain;
  const int found = FindNoteKey({"pw", ""}, lock, &input, &key, &plain);
  Require(found < 0 || (WellFormed(lock) && key.size() == 16 && plain.size() == input.size()));
  if (found >= 0) ReadBody(plain);
  GcmStream stream;
  if (found >= 0 && stream.Begin(key, lock)) {
    std::string out(input.size(), '\0');
    Require(stream.Update(reinterpret_cast<const unsigned char*>(input.data()), input.size(),
                          reinterpret_cast<unsigned char*>(&out[0])));
    Require(out == plain && stream.Finish() == Unlock::kOk);
  }
  return 0;
}
