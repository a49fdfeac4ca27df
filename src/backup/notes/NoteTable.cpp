// A table's rows, columns and cells from its merge document.
#include "NoteTable.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "MergeDocument.h"
#include "NoteInflate.h"

namespace veldrake::backup {
namespace {

const char kTableType[] = "com.apple.notes.ICTable";
const char kRowsKey[] = "crRows";
const char kColumnsKey[] = "crColumns";
const char kCellsKey[] = "cellColumns";
const char kDirectionKey[] = "crTableColumnDirection";
const char kRightToLeft[] = "CRTableColumnDirectionRightToLeft";

using Refs = std::vector<std::pair<std::string, ObjectRef>>;

// The rows (or columns) an ordered set names, in order, each once; their positions.
bool Order(const MergeDocument& doc, const ObjectRef& ref,
           std::unordered_map<std::string, size_t>* positions, size_t* count, std::string* why) {
  std::vector<std::string> slots, present;
  std::vector<std::pair<std::string, std::string>> members;
  if (!ref.hasIndex || !doc.OrderedSet(ref.index, &slots, &members, &present)) {
    *why = "its rows or columns are missing or damaged";
    return false;
  }
  const std::unordered_set<std::string> kept(present.begin(), present.end());
  std::unordered_map<std::string, std::string> memberOf;
  for (auto& member : members) memberOf.emplace(std::move(member.first), std::move(member.second));
  *count = 0;
  for (const std::string& slot : slots) {
    const auto member = memberOf.find(slot);
    if (kept.count(slot) == 0 || member == memberOf.end()) continue;
    if (positions->emplace(member->second, *count).second) ++*count;
    if (*count > kMaxTableCells) {
      *why = "it has too many rows or columns";
      return false;
    }
  }
  return true;
}

size_t DocumentBytes(const NoteDocument& doc) {
  size_t bytes = sizeof(NoteDocument);
  for (const NoteLine& line : doc.lines) {
    bytes += sizeof(NoteLine);
    for (const NoteSpan& span : line.spans) bytes += sizeof(NoteSpan) + span.text.size();
  }
  return bytes;
}

class CellReader {
 public:
  CellReader(const MergeDocument& doc, NoteTableCells* table,
             const std::unordered_map<std::string, size_t>& rows,
             const std::unordered_map<std::string, size_t>& columns)
      : doc_(doc), table_(table), rows_(rows), columns_(columns) {}

  bool Read(const ObjectRef& cellColumns, std::string* why) {
    std::vector<std::pair<ObjectRef, ObjectRef>> byColumn, byRow;
    if (!cellColumns.hasIndex || !doc_.Dictionary(cellColumns.index, &byColumn)) {
      *why = "its cells are missing or damaged";
      return false;
    }
    for (const auto& column : byColumn) {
      std::string uuid;
      const auto at = doc_.Uuid(column.first, &uuid) ? columns_.find(uuid) : columns_.end();
      if (at == columns_.end()) continue;  // a deleted column's cells
      if (column.second.hasIndex && !seen_.insert(column.second.index).second) {
        *why = "its columns share their cells";
        return false;
      }
      if (!column.second.hasIndex || !doc_.Dictionary(column.second.index, &byRow)) {
        *why = "a column's cells are damaged";
        return false;
      }
      for (const auto& row : byRow)
        if (!Cell(row, at->second, why)) return false;
    }
    return true;
  }

 private:
  bool Cell(const std::pair<ObjectRef, ObjectRef>& row, size_t column, std::string* why) {
    std::string uuid;
    const auto at = doc_.Uuid(row.first, &uuid) ? rows_.find(uuid) : rows_.end();
    if (at == rows_.end()) return true;  // a deleted row's cell
    ProtoReader note;
    NoteBody body;
    NoteDocument& cell = table_->cells[at->second * static_cast<size_t>(table_->columns) + column];
    if (!row.second.hasIndex || !doc_.Note(row.second.index, &note) ||
        !ParseNoteString(note.Begin(), note.Remaining(), &body)) {
      *why = "a cell is damaged";
      return false;
    }
    used_ -= std::min(used_, DocumentBytes(cell));  // a cell given twice: the last wins
    if (!BuildNoteDocument(std::move(body), kMaxDocumentBytes - used_, &cell)) {
      *why = "its cells are too large";
      return false;
    }
    used_ += DocumentBytes(cell);
    return true;
  }

  const MergeDocument& doc_;
  NoteTableCells* table_;
  const std::unordered_map<std::string, size_t>& rows_;
  const std::unordered_map<std::string, size_t>& columns_;
  std::unordered_set<uint64_t> seen_;
  size_t used_ = 0;
};

// The table's own entry: its custom map.
bool FindTable(const MergeDocument& doc, Refs* fields) {
  std::string type;
  for (size_t entry = 0; entry < doc.EntryCount(); ++entry)
    if (doc.CustomMap(entry, &type, fields) && type == kTableType) return true;
  return false;
}

const ObjectRef* FieldOf(const Refs& fields, const char* key) {
  for (const auto& field : fields)
    if (field.first == key) return &field.second;
  return nullptr;
}

}  // namespace

bool DecodeNoteTable(const uint8_t* data, size_t size, NoteTableCells* table, std::string* why) {
  *table = NoteTableCells();
  MergeDocument doc;
  Refs fields;
  if (!doc.Parse(data, size) || !FindTable(doc, &fields)) {
    *why = "it is no table document";
    return false;
  }
  const ObjectRef *rowsRef = FieldOf(fields, kRowsKey), *columnsRef = FieldOf(fields, kColumnsKey),
                  *cellsRef = FieldOf(fields, kCellsKey),
                  *direction = FieldOf(fields, kDirectionKey);
  std::unordered_map<std::string, size_t> rows, columns;
  size_t rowCount = 0, columnCount = 0;
  if (rowsRef == nullptr || columnsRef == nullptr || cellsRef == nullptr) {
    *why = "it lacks its rows, columns or cells";
    return false;
  }
  if (!Order(doc, *rowsRef, &rows, &rowCount, why) ||
      !Order(doc, *columnsRef, &columns, &columnCount, why))
    return false;
  if (columnCount != 0 && rowCount > kMaxTableCells / columnCount) {
    *why = "it has too many cells";
    return false;
  }
  table->rows = static_cast<int>(rowCount);
  table->columns = static_cast<int>(columnCount);
  table->rightToLeft = direction != nullptr && direction->hasIndex &&
                       doc.RegisterText(direction->index) == kRightToLeft;
  table->cells.resize(rowCount * columnCount);
  return CellReader(doc, table, rows, columns).Read(*cellsRef, why);
}

bool ReadNoteTable(const std::string& stored, NoteTableCells* table, std::string* why) {
  std::string inflated;
  const Inflated status = InflateNoteBody(reinterpret_cast<const uint8_t*>(stored.data()),
                                          stored.size(), kNoteBodyCap, &inflated);
  if (status != Inflated::kOk) {
    *why = status == Inflated::kTooLarge ? "it is too large" : "it is no complete gzip stream";
    return false;
  }
  return DecodeNoteTable(reinterpret_cast<const uint8_t*>(inflated.data()), inflated.size(), table,
                         why);
}

}  // namespace veldrake::backup
