// Buffered writes to a descriptor, each flush counted against the export's budget.
#include "BudgetBuffer.h"

#include "OutputFile.h"

namespace host {
namespace {

const size_t kBufferBytes = 64 * 1024;

}  // namespace

BudgetBuffer::BudgetBuffer(int fd, Budget* budget)
    : fd_(fd), budget_(budget), buffer_(new char[kBufferBytes]) {
  setp(buffer_.get(), buffer_.get() + kBufferBytes);
}

bool BudgetBuffer::Flush() {
  const size_t size = static_cast<size_t>(pptr() - pbase());
  setp(buffer_.get(), buffer_.get() + kBufferBytes);
  if (!error_.empty() || !budget_->AddRendered(size)) return false;
  if (size == 0) return true;
  if (!budget_->AddWritten(size)) return false;
  return OutputFile::WriteBytes(fd_, buffer_.get(), size, &error_);
}

BudgetBuffer::int_type BudgetBuffer::overflow(int_type c) {
  if (!Flush()) return traits_type::eof();
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  *pptr() = traits_type::to_char_type(c);
  pbump(1);
  return c;
}

int BudgetBuffer::sync() {
  return Flush() ? 0 : -1;
}

bool BudgetBuffer::Finish(std::string* error) {
  if (Flush()) return true;
  *error = budget_->exceeded() ? budget_->error() : error_;
  return false;
}

}  // namespace host
