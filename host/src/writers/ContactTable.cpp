// Rows spooled compactly to a temporary, then written padded under their header.
#include "ContactTable.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "CsvWriter.h"

namespace host {
namespace {

// Every count and length in the spool: a cell is far below 4 GiB (the export's text limit).
using Length = uint32_t;

bool PutLength(std::FILE* file, size_t n) {
  const Length value = static_cast<Length>(n);
  return n <= UINT32_MAX && std::fwrite(&value, sizeof value, 1, file) == 1;
}

bool GetLength(std::FILE* file, size_t* n) {
  Length value = 0;
  if (std::fread(&value, sizeof value, 1, file) != 1) return false;
  *n = value;
  return true;
}

bool GetCell(std::FILE* file, std::string* cell) {
  size_t n = 0;
  if (!GetLength(file, &n)) return false;
  cell->resize(n);
  return n == 0 || std::fread(&(*cell)[0], 1, n, file) == n;
}

std::string SpoolError() {
  return std::string("the temporary file of the table: ") +
         (errno != 0 ? std::strerror(errno) : "cut short");
}

}  // namespace

ContactTable::ContactTable(TableLayout layout, std::FILE* spool)
    : layout_(std::move(layout)), spool_(spool), counts_(layout_.units.size(), 0) {}

ContactTable::~ContactTable() {
  if (spool_ != nullptr) std::fclose(spool_);
}

bool ContactTable::Add(const Contact& contact, std::string* error) {
  const TableParts parts = layout_.parts(contact);
  bool ok = spool_ != nullptr && parts.size() == counts_.size();
  for (size_t p = 0; ok && p < parts.size(); ++p) {
    counts_[p] = std::max(counts_[p], parts[p].size() / layout_.units[p]);
    ok = PutLength(spool_, parts[p].size());
    for (const std::string& cell : parts[p])
      ok = ok && PutLength(spool_, cell.size()) &&
           (cell.empty() || std::fwrite(cell.data(), 1, cell.size(), spool_) == cell.size());
  }
  if (!ok) *error = SpoolError();
  rows_ += ok;
  return ok;
}

bool ContactTable::Replay(std::ostream& out, std::string* error) {
  errno = 0;
  if (std::fflush(spool_) != 0 || std::fseek(spool_, 0, SEEK_SET) != 0) {
    *error = SpoolError();
    return false;
  }
  std::vector<std::string> row;
  for (size_t r = 0; r < rows_ && out; ++r) {
    row.clear();
    for (size_t p = 0; p < counts_.size(); ++p) {
      size_t cells = 0;
      bool ok = GetLength(spool_, &cells) && cells <= counts_[p] * layout_.units[p];
      for (size_t c = 0; ok && c < cells; ++c) {
        row.emplace_back();
        ok = GetCell(spool_, &row.back());
      }
      if (!ok) {
        *error = SpoolError();
        return false;
      }
      row.resize(row.size() + counts_[p] * layout_.units[p] - cells);
    }
    CsvWriter::Row(out, row);
  }
  return true;
}

bool ContactTable::Finish(std::ostream& out, bool bom, std::string* error) {
  if (spool_ == nullptr) {
    *error = SpoolError();
    return false;
  }
  CsvWriter::StartTable(out, bom);
  CsvWriter::Row(out, layout_.header(counts_));
  return Replay(out, error);
}

void WriteTable(std::ostream& out, const TableLayout& layout, const std::vector<Contact>& contacts,
                bool bom) {
  ContactTable table(layout, std::tmpfile());
  std::string error;
  bool ok = true;
  for (const Contact& c : contacts) ok = ok && table.Add(c, &error);
  if (!ok || !table.Finish(out, bom, &error)) out.setstate(std::ios::badbit);
}

}  // namespace host
