// Fuzz target for the file record archive of Manifest.db (an MBFile in NSKeyedArchiver
// form): whatever the bytes, a record read from them has a size that is not negative and
// a wrapped key of exactly 40 bytes or none.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Crypto.h"
#include "FileRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  veldrake::backup::FileRecord record;
  if (!veldrake::backup::ParseFileRecord(data, size, &record)) return 0;
  if (record.size < 0) std::abort();
  if (!record.wrappedKey.empty() && record.wrappedKey.size() != veldrake::backup::kWrappedKeyBytes)
    std::abort();
  return 0;
}
