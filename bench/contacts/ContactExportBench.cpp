// Contact export end to end: GetData(1, ...) against the device emulator over a Unix
// socket, for generated books of 2,000, 10,000 and 100,000 contacts (three phone numbers
// or e-mail addresses and one postal address each), beside the parts of it and beside
// Debian libplist's bare decoding of the same reply bytes.
//
// The emulator runs in this process, on its own thread (devicesim::Listener). Its replies
// are encoded before the clock starts and handed out as scripted replies, so the time is
// the library's: framing, decoding, analysis, join and delivery, plus the socket.
//
// The export without the socket also reports its two phases apart (analysing every
// reply; join and delivery) and the mean cost of the first and of the last 20 replies, so
// growth with the number of records already gathered shows where it arises.
//
// Peak memory is the peak of heap bytes live that the exporting thread allocated during
// the export (bench/common/HeapCounter.h).
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "BPListReader/BPListReader.h"
#include "HeapCounter.h"
#include "MobileDevice/mdsim.h"
#include "PListContactAnalysis.h"
#include "QX/Contact.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/Records.h"
#include "veldrake/Session.h"

#if VELDRAKE_HAVE_LIBPLIST
#include <plist/plist.h>
#endif

namespace {

constexpr size_t kBatch = 100;  // records per reply, the emulator's default

// The replies to "get all records" for a generated book of `people`, encoded once.
const std::vector<std::string>& Replies(size_t people) {
  static std::map<size_t, std::vector<std::string>> cache;
  std::vector<std::string>& replies = cache[people];
  if (replies.empty()) {
    const devicesim::AddressBook book = devicesim::GenerateAddressBook(people, 1);
    for (size_t begin = 0; begin < people; begin += kBatch) {
      const devicesim::Value batch = devicesim::ContactBatch(book, begin, begin + kBatch);
      replies.push_back(
          devicesim::BatchReply("com.apple.Contacts", batch, begin + kBatch < people));
    }
    replies.push_back(devicesim::EndReply("com.apple.Contacts"));
  }
  return replies;
}

size_t TotalBytes(const std::vector<std::string>& replies) {
  size_t total = 0;
  for (const std::string& r : replies) total += r.size();
  return total;
}

// A host that copies what it reads: the texts' lengths stand for the copy.
size_t gDelivered = 0;
size_t gTextBytes = 0;

int Receive(void* record) {
  const QX::Contact* c = static_cast<const QX::Contact*>(record);
  ++gDelivered;
  for (const char* text : {c->firstName, c->lastName, c->companyName}) {
    if (text != nullptr) gTextBytes += std::strlen(text);
  }
  for (const QX::ContactField* f : c->fields) {
    if (f->value != nullptr) gTextBytes += std::strlen(f->value);
  }
  for (const QX::ContactAddressFields* a : c->addresses) {
    if (a->address->city != nullptr) gTextBytes += std::strlen(a->address->city);
  }
  return 0;
}

double ThreadSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

void SetCounters(benchmark::State& state, size_t people, size_t bytes) {
  state.counters["contacts_per_s"] = benchmark::Counter(
      static_cast<double>(people), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["reply_MiB"] = static_cast<double>(bytes) / (1024.0 * 1024.0);
}

// The whole export through the socket.
void BM_ContactExport(benchmark::State& state) {
  const size_t people = static_cast<size_t>(state.range(0));
  const std::vector<std::string>& replies = Replies(people);
  devicesim::DeviceOptions options;
  options.scriptedReply = [&replies](const std::string& label, int occurrence) {
    if (label != "M6") return std::optional<std::string>();
    return std::optional<std::string>(replies[std::min<size_t>(occurrence, replies.size() - 1)]);
  };
  const std::string path = "/tmp/veldrake-contacts-bench-" + std::to_string(getpid()) + ".sock";
  devicesim::Listener device("unix:" + path, {}, {}, options);
  if (!device.ok()) {
    state.SkipWithError(device.error().c_str());
    return;
  }
  void* handle = mdsim_device_new(device.endpoint().c_str());
  long long peak = 0;
  for (auto _ : state) {
    gDelivered = 0;
    heapcount::Begin();
    const int result = GetData(1, nullptr, handle, reinterpret_cast<void*>(&Receive));
    heapcount::End();
    DisContectDeviceAndProtocol();
    if (result != 0 || gDelivered != people) state.SkipWithError("export incomplete");
    peak = std::max(peak, heapcount::Peak());
  }
  mdsim_device_free(handle);
  SetCounters(state, people, TotalBytes(replies));
  state.counters["peak_heap_MiB"] = static_cast<double>(peak) / (1024.0 * 1024.0);
  benchmark::DoNotOptimize(gTextBytes);
}

// The same without the socket: analysis of every reply, then join and delivery.
void BM_ContactAnalysisOnly(benchmark::State& state) {
  const size_t people = static_cast<size_t>(state.range(0));
  const std::vector<std::string>& replies = Replies(people);
  std::vector<std::vector<char>> buffers;
  for (const std::string& r : replies) buffers.emplace_back(r.begin(), r.end());
  double analysisSeconds = 0;
  double deliverySeconds = 0;
  double firstReplies = 0;  // the mean of the first 20 replies' analyses, summed over runs
  double lastReplies = 0;   // the same for the last 20
  for (auto _ : state) {
    const double start = ThreadSeconds();
    PListContactAnalysis analysis;
    // Each reply's analysis on its own as well: with the records of the earlier replies
    // alive, a reply late in the book should cost what one early in it costs.
    std::vector<double> perReply;
    perReply.reserve(buffers.size());
    for (std::vector<char>& b : buffers) {
      const double replyStart = ThreadSeconds();
      if (analysis.Analysis(b.data(), static_cast<int>(b.size())) < 0) break;
      perReply.push_back(ThreadSeconds() - replyStart);
    }
    const size_t k = std::min<size_t>(20, perReply.size() / 2);  // the end reply left out
    for (size_t i = 0; i < k; ++i) {
      firstReplies += perReply[i] / static_cast<double>(k);
      lastReplies += perReply[perReply.size() - 2 - i] / static_cast<double>(k);
    }
    const double analysed = ThreadSeconds();
    std::vector<QX::Contact*> unused;
    gDelivered = 0;
    analysis.Combinations(unused, reinterpret_cast<void*>(&Receive));
    deliverySeconds += ThreadSeconds() - analysed;
    analysisSeconds += analysed - start;
    if (gDelivered != people) state.SkipWithError("export incomplete");
  }
  SetCounters(state, people, TotalBytes(replies));
  // The two phases apart, in the thread's CPU milliseconds per export: decoding and
  // analysing every reply, then the join and delivery (with the records' release).
  const double runs = static_cast<double>(state.iterations());
  state.counters["analysis_ms"] = 1e3 * analysisSeconds / runs;
  state.counters["delivery_ms"] = 1e3 * deliverySeconds / runs;
  state.counters["first_reply_us"] = 1e6 * firstReplies / runs;
  state.counters["last_reply_us"] = 1e6 * lastReplies / runs;
}

// Our decoder alone on the same bytes.
void BM_ReaderDecodeOnly(benchmark::State& state) {
  const size_t people = static_cast<size_t>(state.range(0));
  const std::vector<std::string>& replies = Replies(people);
  for (auto _ : state) {
    for (const std::string& r : replies) {
      BPListReader reader;
      if (!reader.open(r.data(), r.size())) state.SkipWithError("not a list");
      benchmark::DoNotOptimize(reader.getRootObject());
    }
  }
  SetCounters(state, people, TotalBytes(replies));
}

#if VELDRAKE_HAVE_LIBPLIST
// Debian libplist: plist_from_bin and plist_free on the same reply bytes, nothing else.
void BM_LibplistDecodeOnly(benchmark::State& state) {
  const size_t people = static_cast<size_t>(state.range(0));
  const std::vector<std::string>& replies = Replies(people);
  for (auto _ : state) {
    for (const std::string& r : replies) {
      plist_t root = nullptr;
      plist_from_bin(r.data(), static_cast<uint32_t>(r.size()), &root);
      if (root == nullptr) state.SkipWithError("libplist refused a reply");
      plist_free(root);
    }
  }
  SetCounters(state, people, TotalBytes(replies));
}
BENCHMARK(BM_LibplistDecodeOnly)
    ->Arg(2000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#endif

BENCHMARK(BM_ContactExport)
    ->Arg(2000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_ContactAnalysisOnly)
    ->Arg(2000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_ReaderDecodeOnly)
    ->Arg(2000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

// A host runs under a locale that can express the texts (UTF-8 here).
int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "C.UTF-8");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
