// ExportLimits: how much one export may cost, counted over the whole export, so that a
// damaged or hostile source (a backup whose notes all point at one body that inflates
// a thousandfold) ends with a clear error instead of filling the memory or the disk.
//
// The defaults are far above what any real phone holds (a heavy user has a few thousand
// contacts and notes and some tens of megabytes of text); --max-records, --max-rendered
// and --max-written change them.
//
// Thread contract: one Budget per export, used from the thread that delivers records.
#ifndef VELDRAKE_HOST_EXPORTLIMITS_H_
#define VELDRAKE_HOST_EXPORTLIMITS_H_

#include <cstdint>
#include <string>

namespace host {

constexpr uint64_t kMiB = uint64_t{1} << 20;
constexpr uint64_t kDefaultMaxRecords = 1000000;
constexpr uint64_t kDefaultMaxRendered = 256 * kMiB;  // text made by the writers
constexpr uint64_t kDefaultMaxWritten = 4096 * kMiB;  // bytes put into output files

struct ExportLimits {
  uint64_t records = kDefaultMaxRecords;
  uint64_t rendered = kDefaultMaxRendered;
  uint64_t written = kDefaultMaxWritten;
};

// The counts of one export against its limits; the first limit passed is kept as the
// error, and every later call fails too.
class Budget {
 public:
  explicit Budget(const ExportLimits& limits) : limits_(limits) {}

  bool AddRecord();
  bool AddRendered(uint64_t bytes);
  bool AddWritten(uint64_t bytes);
  // A contact's text, a floor of what it renders to (a table's rows wait in a temporary
  // until the end): it counts against the same limit before it can fill the disk.
  bool AddHeld(uint64_t bytes);

  bool exceeded() const { return !error_.empty(); }
  // "the export passed its limit of ...; nothing was written (--max-...)".
  const std::string& error() const { return error_; }
  uint64_t rendered() const { return rendered_; }
  uint64_t written() const { return written_; }

 private:
  bool Add(uint64_t* count, uint64_t more, uint64_t limit, const char* what, const char* option);

  ExportLimits limits_;
  uint64_t records_ = 0, rendered_ = 0, written_ = 0, held_ = 0;
  std::string error_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_EXPORTLIMITS_H_
