// Decoding contact-shaped replies: our reader, Debian's libplist on the same bytes, and a
// plain copy of the bytes as the floor. Each reply is the device's
// [ "SDMessageProcessChanges", "com.apple.Contacts", {records}, true ] written by the
// emulator, with UTF-16 and ASCII strings and dates.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BPListReader/BPListReader.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/Records.h"

#ifdef VELDRAKE_HAVE_LIBPLIST
#include <plist/plist.h>
#endif

namespace {

// The reply bytes for a book of `people` persons, made once per size.
const std::string& Reply(size_t people) {
  static std::map<size_t, std::string> replies;
  std::string& bytes = replies[people];
  if (bytes.empty()) {
    const devicesim::AddressBook book = devicesim::GenerateAddressBook(people, 2024);
    bytes =
        devicesim::BatchReply("com.apple.Contacts", devicesim::ContactBatch(book, 0, people), true);
  }
  return bytes;
}

void Describe(benchmark::State& state, const std::string& bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
  state.counters["reply_bytes"] = static_cast<double>(bytes.size());
}

void BM_CopyFloor(benchmark::State& state) {
  const std::string& bytes = Reply(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    std::unique_ptr<char[]> copy(new char[bytes.size()]);
    std::memcpy(copy.get(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(copy.get());
    benchmark::ClobberMemory();
  }
  Describe(state, bytes);
}

void BM_BPListReader(benchmark::State& state) {
  const std::string& bytes = Reply(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    BPListReader reader;
    if (!reader.open(bytes.data(), bytes.size())) state.SkipWithError("open failed");
    prop root = reader.getRootObject();
    if (!root.hasTag(prop::object::TagArray)) state.SkipWithError("no root array");
    benchmark::DoNotOptimize(root._value.get());
  }  // the tree is freed here, as an analyser frees it after its walk
  Describe(state, bytes);
  state.counters["records"] = static_cast<double>([&] {
    BPListReader reader;
    reader.open(bytes.data(), bytes.size());
    return (*reader.getRootObject()._value->array)[2]._value->dict->size();
  }());
}

#ifdef VELDRAKE_HAVE_LIBPLIST
void BM_LibPlist(benchmark::State& state) {
  const std::string& bytes = Reply(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    plist_t root = nullptr;
    plist_from_bin(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    if (root == nullptr || plist_get_node_type(root) != PLIST_ARRAY)
      state.SkipWithError("libplist could not decode the reply");
    benchmark::DoNotOptimize(root);
    plist_free(root);
  }
  Describe(state, bytes);
}
BENCHMARK(BM_LibPlist)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);
#endif

BENCHMARK(BM_CopyFloor)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BPListReader)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
