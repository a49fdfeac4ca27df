// BudgetBuffer: a stream buffer that writes to a descriptor and counts every byte against
// the export's Budget, so that a writer streams a record straight to its file and stops
// as soon as a limit is passed or a write fails (the stream then fails too).
//
// Ownership: borrows the descriptor and the budget. Thread contract: one thread.
#ifndef VELDRAKE_HOST_BUDGETBUFFER_H_
#define VELDRAKE_HOST_BUDGETBUFFER_H_

#include <memory>
#include <streambuf>
#include <string>

#include "ExportLimits.h"

namespace host {

class BudgetBuffer : public std::streambuf {
 public:
  BudgetBuffer(int fd, Budget* budget);
  BudgetBuffer(const BudgetBuffer&) = delete;
  BudgetBuffer& operator=(const BudgetBuffer&) = delete;

  // Writes out what is buffered; false with *error set (the budget's message, or the
  // write's reason) when anything failed since the start.
  bool Finish(std::string* error);

 protected:
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  bool Flush();

  int fd_;
  Budget* budget_;
  std::unique_ptr<char[]> buffer_;  // kBufferBytes, left uninitialised: one per file
  std::string error_;               // a write's reason
};

}  // namespace host

#endif  // VELDRAKE_HOST_BUDGETBUFFER_H_
