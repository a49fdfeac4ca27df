// libVeldrakeBackup's costs, each beside its yardstick in the same run:
//  - contacts from an unencrypted backup of 1,000, 10,000 and 100,000 generated people
//    (the emulator's writer, GenerateAddressBook seed 1) to a callback, beside the sync
//    route's export of the same book (GetData against the in-process emulator, replies
//    encoded before the clock starts); peak memory of the backup route is the exporting
//    thread's heap (bench/common/HeapCounter.h) plus SQLite's own high-water mark;
//  - decrypting one large file (AES-256-CBC, streamed from the backup into a private
//    file) beside OpenSSL's own AES-256-CBC over the same bytes in memory;
//  - the password's key derivation with the keybag counts a phone writes (PBKDF2-SHA256
//    10,000,000 then PBKDF2-SHA1 10,000), reported on its own.
#include <openssl/evp.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Crypto.h"
#include "HeapCounter.h"
#include "MobileDevice/mdsim.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/Records.h"
#include "devicesim/backup/BackupWriter.h"
#include "veldrake/Backup.h"
#include "veldrake/Session.h"

namespace {

namespace fs = std::filesystem;
constexpr size_t kBatch = 100;
constexpr size_t kLargeFile = 256u << 20;

// A scratch folder for the program's backups and files, removed at exit.
const std::string& Scratch() {
  static const std::string path = [] {
    std::string pattern = fs::temp_directory_path().string() + "/veldrake-backup-bench-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) std::abort();
    std::atexit([] { fs::remove_all(Scratch()); });
    return pattern;
  }();
  return path;
}

const devicesim::AddressBook& Book(size_t people) {
  static std::map<size_t, devicesim::AddressBook> books;
  auto found = books.find(people);
  if (found == books.end())
    found = books.emplace(people, devicesim::GenerateAddressBook(people, 1)).first;
  return found->second;
}

// The backup of the book of `people`, written once.
std::string BackupOf(size_t people) {
  const std::string dir = Scratch() + "/book" + std::to_string(people);
  if (!fs::exists(dir)) {
    std::string error;
    if (!devicesim::backup::WriteBackup(Book(people), {}, dir, {}, &error)) {
      std::fprintf(stderr, "%s\n", error.c_str());
      std::abort();
    }
  }
  return dir;
}

size_t gDelivered = 0;
int Receive(void* /*record*/) {
  ++gDelivered;
  return 0;
}

void ContactCounters(benchmark::State& state, size_t people) {
  state.counters["contacts_per_s"] = benchmark::Counter(
      static_cast<double>(people), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_BackupContacts(benchmark::State& state) {
  const size_t people = static_cast<size_t>(state.range(0));
  const std::string dir = BackupOf(people);
  long long heapPeak = 0, sqlitePeak = 0;
  for (auto _ : state) {
    gDelivered = 0;
    sqlite3_memory_highwater(1);
    heapcount::Begin();
    const int result = VeldrakeBackupGetData(dir.c_str(), nullptr, VELDRAKE_BACKUP_CONTACTS,
                                             Receive, nullptr, nullptr);
    heapcount::End();
    heapPeak = std::max(heapPeak, heapcount::Peak());
    sqlitePeak = std::max<long long>(sqlitePeak, sqlite3_memory_highwater(0));
    if (result != 0 || gDelivered != people) state.SkipWithError(VeldrakeBackupLastMessage());
  }
  ContactCounters(state, people);
  state.counters["peak_heap_MiB"] = static_cast<double>(heapPeak) / (1 << 20);
  state.counters["peak_sqlite_MiB"] = static_cast<double>(sqlitePeak) / (1 << 20);
}

// The sync route: GetData(1, ...) against the emulator on a Unix socket, serving the same
// book's replies, encoded before the clock starts.
void BM_SyncContacts(benchmark::State& state) {
  const size_t people = static_cast<size_t>(state.range(0));
  std::vector<std::string> replies;
  for (size_t begin = 0; begin < people; begin += kBatch)
    replies.push_back(devicesim::BatchReply(
        "com.apple.Contacts", devicesim::ContactBatch(Book(people), begin, begin + kBatch),
        begin + kBatch < people));
  replies.push_back(devicesim::EndReply("com.apple.Contacts"));
  devicesim::DeviceOptions options;
  options.scriptedReply = [&replies](const std::string& label, int occurrence) {
    if (label != "M6") return std::optional<std::string>();
    return std::optional<std::string>(replies[std::min<size_t>(occurrence, replies.size() - 1)]);
  };
  const std::string path = Scratch() + "/sync.sock";
  devicesim::Listener device("unix:" + path, {}, {}, options);
  void* handle = mdsim_device_new(device.endpoint().c_str());
  for (auto _ : state) {
    gDelivered = 0;
    const int result = GetData(1, nullptr, handle, reinterpret_cast<void*>(&Receive));
    DisContectDeviceAndProtocol();
    if (result != 0 || gDelivered != people) state.SkipWithError("sync export incomplete");
  }
  mdsim_device_free(handle);
  ContactCounters(state, people);
}

std::string Key() {
  return std::string(veldrake::backup::kAesKeyBytes, '\x5a');
}

// One large encrypted file (CBC, zero IV, PKCS#7), written once; its plain length.
std::string EncryptedFile() {
  const std::string path = Scratch() + "/large.enc";
  if (fs::exists(path)) return path;
  std::vector<unsigned char> plain(kLargeFile), cipher(kLargeFile + 16);
  for (size_t i = 0; i < plain.size(); ++i) plain[i] = static_cast<unsigned char>(i * 131 + 7);
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  const unsigned char iv[16] = {};
  const std::string key = Key();
  EVP_EncryptInit_ex(ctx, EVP_aes_256_cbc(), nullptr,
                     reinterpret_cast<const unsigned char*>(key.data()), iv);
  int n = 0, tail = 0;
  EVP_EncryptUpdate(ctx, cipher.data(), &n, plain.data(), static_cast<int>(plain.size()));
  EVP_EncryptFinal_ex(ctx, cipher.data() + n, &tail);
  EVP_CIPHER_CTX_free(ctx);
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(cipher.data()), n + tail);
  return path;
}

void BM_DecryptFile(benchmark::State& state) {
  const std::string from = EncryptedFile();
  const std::string to = Scratch() + "/large.plain";
  for (auto _ : state) {
    fs::remove(to);
    if (veldrake::backup::DecryptFile(from, to, Key(), kLargeFile) !=
        veldrake::backup::Decrypted::kOk)
      state.SkipWithError("decryption failed");
  }
  fs::remove(to);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kLargeFile);
}

// OpenSSL alone: the same cipher over the same number of bytes, memory to memory.
void BM_OpenSslCbc(benchmark::State& state) {
  std::vector<unsigned char> in(kLargeFile, 0x33), out(kLargeFile + 16);
  const unsigned char iv[16] = {};
  const std::string key = Key();
  for (auto _ : state) {
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex(ctx, EVP_aes_256_cbc(), nullptr,
                       reinterpret_cast<const unsigned char*>(key.data()), iv);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    int n = 0;
    EVP_DecryptUpdate(ctx, out.data(), &n, in.data(), static_cast<int>(in.size()));
    EVP_CIPHER_CTX_free(ctx);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kLargeFile);
}

void BM_KeyDerivation(benchmark::State& state) {
  std::string first, key;
  for (auto _ : state) {
    veldrake::backup::Pbkdf2("password", 8, std::string(20, 's'), 10000000, true, &first);
    veldrake::backup::Pbkdf2(first.data(), first.size(), std::string(20, 't'), 10000, false, &key);
  }
  benchmark::DoNotOptimize(key);
}

BENCHMARK(BM_BackupContacts)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_SyncContacts)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_DecryptFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenSslCbc)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_KeyDerivation)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
