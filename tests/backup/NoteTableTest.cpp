// A table's merge document: documents built by the test's own encoder (written from the
// message layout, independent of the reader) decoded back into rows and columns, and
// hostile documents refused with a reason, never a crash or a hang.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "NoteFixtures.h"
#include "NoteRender.h"
#include "NoteTable.h"

using namespace veldrake::backup;
using notefix::BytesField;
using notefix::VarintField;

namespace {

// Builds a merge document entry by entry.
class MergeBuilder {
 public:
  int Uuid(const std::string& bytes) {
    uuids_.push_back(bytes);
    return Custom("com.apple.CRDT.NSUUID", {{"UUIDIndex", VarintField(2, uuids_.size() - 1)}});
  }
  int Note(const std::string& text) {
    return Add(
        BytesField(10, notefix::EncodeString({notefix::Looks(text, text == "B" ? "b" : "")})));
  }
  int Dictionary(const std::vector<std::pair<int, int>>& pairs) {
    std::string elements;
    for (const auto& pair : pairs)
      elements += BytesField(1, BytesField(1, Ref(pair.first)) + BytesField(2, Ref(pair.second)));
    return Add(BytesField(6, elements));
  }
  // Slots (UUID bytes) in order, each naming a member; `present` the slots still there.
  int OrderedSet(const std::vector<std::string>& slots,
                 const std::map<std::string, std::string>& member,
                 const std::vector<std::string>& present) {
    std::string array = BytesField(1, notefix::EncodeString({}));
    for (size_t i = 0; i < slots.size(); ++i)
      array += BytesField(2, VarintField(1, i) + BytesField(2, slots[i]));
    std::string contents, elements;
    for (const auto& m : member) contents += Element(Uuid(m.first), Uuid(m.second));
    for (const std::string& slot : present) elements += Element(Uuid(slot), Uuid(slot));
    return Add(BytesField(16, BytesField(1, BytesField(1, array) + BytesField(2, contents)) +
                                  BytesField(2, elements)));
  }
  int Register(const std::string& text) {
    return Add(BytesField(1, BytesField(2, BytesField(4, text))));
  }
  int Custom(const std::string& type, const std::vector<std::pair<std::string, std::string>>& map) {
    std::string body = VarintField(1, Index(&types_, type));
    for (const auto& entry : map)
      body +=
          BytesField(3, VarintField(1, Index(&keys_, entry.first)) + BytesField(2, entry.second));
    return Add(BytesField(13, body));
  }
  int Next() const { return static_cast<int>(entries_.size()); }
  static std::string Ref(int index) { return VarintField(6, static_cast<uint64_t>(index)); }
  int Add(const std::string& entry) {
    entries_.push_back(entry);
    return static_cast<int>(entries_.size() - 1);
  }
  void Replace(int index, const std::string& entry) {
    entries_[static_cast<size_t>(index)] = entry;
  }
  std::string Bytes() const {
    std::string data;
    for (const std::string& e : entries_) data += BytesField(3, e);
    for (const std::string& k : keys_) data += BytesField(4, k);
    for (const std::string& t : types_) data += BytesField(5, t);
    for (const std::string& u : uuids_) data += BytesField(6, u);
    return BytesField(2, VarintField(2, 1) + BytesField(3, data));
  }

 private:
  std::string Element(int key, int value) {
    return BytesField(1, BytesField(1, Ref(key)) + BytesField(2, Ref(value)));
  }
  static uint64_t Index(std::vector<std::string>* list, const std::string& name) {
    for (size_t i = 0; i < list->size(); ++i)
      if ((*list)[i] == name) return i;
    list->push_back(name);
    return list->size() - 1;
  }
  std::vector<std::string> entries_, keys_, types_, uuids_;
};

// A 16-byte UUID of its own for member `n` of rows ('r'), columns ('c') or their slots.
std::string Id(char kind, int n) {
  return std::string(14, kind) + static_cast<char>(n >> 8) + static_cast<char>(n & 0xFF);
}

// A table as the phone lists it: rows and columns by slot, cells by (row, column) id.
struct TableLayout {
  std::vector<int> rowSlots, columnSlots;  // member numbers in slot order (repeats allowed)
  std::vector<int> deletedRowSlots;        // slot positions no longer present
  std::map<std::pair<int, int>, std::string> cells;  // (row, column) -> text
  const char* direction = "CRTableColumnDirectionLeftToRight";
};

int Ordered(MergeBuilder& b, char kind, const std::vector<int>& members,
            const std::vector<int>& deleted) {
  std::vector<std::string> slots, present;
  std::map<std::string, std::string> member;
  for (size_t i = 0; i < members.size(); ++i) {
    const std::string slot = Id(static_cast<char>(kind + 1), static_cast<int>(i));
    slots.push_back(slot);
    member[slot] = Id(kind, members[i]);
    if (std::find(deleted.begin(), deleted.end(), static_cast<int>(i)) == deleted.end())
      present.push_back(slot);
  }
  return b.OrderedSet(slots, member, present);
}

std::string Encode(const TableLayout& layout) {
  MergeBuilder b;
  const int rows = Ordered(b, 'r', layout.rowSlots, layout.deletedRowSlots);
  const int columns = Ordered(b, 'c', layout.columnSlots, {});
  std::map<int, std::vector<std::pair<int, int>>> byColumn;
  for (const auto& cell : layout.cells)
    byColumn[cell.first.second].emplace_back(b.Uuid(Id('r', cell.first.first)),
                                             b.Note(cell.second));
  std::vector<std::pair<int, int>> cellColumns;
  for (const auto& column : byColumn)
    cellColumns.emplace_back(b.Uuid(Id('c', column.first)), b.Dictionary(column.second));
  const int cells = b.Dictionary(cellColumns);
  const int direction = b.Register(layout.direction);
  b.Custom("com.apple.notes.ICTable", {{"crRows", MergeBuilder::Ref(rows)},
                                       {"crColumns", MergeBuilder::Ref(columns)},
                                       {"cellColumns", MergeBuilder::Ref(cells)},
                                       {"crTableColumnDirection", MergeBuilder::Ref(direction)}});
  return b.Bytes();
}

bool Decode(const std::string& bytes, NoteTableCells* table, std::string* why) {
  return DecodeNoteTable(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), table, why);
}

std::vector<std::string> Cells(const NoteTableCells& table) {
  std::vector<std::string> cells;
  for (const NoteDocument& cell : table.cells)
    cells.push_back(RenderCell(cell, NoteFormat::kMarkdown, ObjectLookup()));
  return cells;
}

TEST(NoteTable, RowsAndColumnsComeInThePhonesOrder) {
  TableLayout rtl;
  rtl.rowSlots = {0};
  rtl.columnSlots = {0, 1};
  rtl.cells = {{{0, 0}, "\xD7\x90"}, {{0, 1}, "\xD7\x91"}};
  rtl.direction = "CRTableColumnDirectionRightToLeft";
  const struct {
    const char* what;
    TableLayout layout;
    int rows, columns;
    bool rightToLeft;
    std::vector<std::string> cells;
  } cases[] = {
      {"empty and missing cells kept",
       {{0, 1}, {0, 1, 2}, {}, {{{0, 0}, "a"}, {{0, 1}, ""}, {{1, 2}, "B"}}},
       2,
       3,
       false,
       {"a", "", "", "", "", "**B**"}},
      {"slots name members out of creation order",
       {{2, 0, 1}, {1, 0}, {}, {{{0, 0}, "r0c0"}, {{2, 1}, "r2c1"}}},
       3,
       2,
       false,
       {"r2c1", "", "", "r0c0", "", ""}},
      {"a deleted slot and a repeated member count once",
       {{0, 1, 0, 2}, {0}, {1}, {{{0, 0}, "x"}, {{1, 0}, "gone"}, {{2, 0}, "z"}}},
       2,
       1,
       false,
       {"x", "z"}},
      {"right to left keeps the phone's column order", rtl, 1, 2, true, {"\xD7\x90", "\xD7\x91"}},
  };
  for (const auto& c : cases) {
    NoteTableCells table;
    std::string why;
    ASSERT_TRUE(Decode(Encode(c.layout), &table, &why)) << c.what << ": " << why;
    EXPECT_EQ(table.rows, c.rows) << c.what;
    EXPECT_EQ(table.columns, c.columns) << c.what;
    EXPECT_EQ(table.rightToLeft, c.rightToLeft) << c.what;
    EXPECT_EQ(Cells(table), c.cells) << c.what;
  }
  NoteTableCells table;
  std::string why;
  const std::string stored = notefix::Gzip(Encode(cases[0].layout));
  EXPECT_TRUE(ReadNoteTable(stored, &table, &why)) << why;
  EXPECT_FALSE(ReadNoteTable(stored.substr(0, stored.size() / 2), &table, &why));
}

// A document whose table entry (its last) refers where `refer` says.
std::string HostileTable(
    const std::function<std::vector<std::pair<std::string, std::string>>(MergeBuilder&)>& refer) {
  MergeBuilder b;
  const auto fields = refer(b);
  b.Custom("com.apple.notes.ICTable", fields);
  return b.Bytes();
}

TEST(NoteTable, HostileDocumentsAreRefusedWithAReason) {
  std::vector<int> many(600);
  for (int i = 0; i < 600; ++i) many[static_cast<size_t>(i)] = i;
  TableLayout huge{many, many, {}, {}};
  const struct {
    const char* what;
    std::string bytes;
    const char* why;
  } cases[] = {
      {"no document", "\x12\x05garbage", "it is no table document"},
      {"no table in it", MergeBuilder().Bytes(), "it is no table document"},
      {"indexes out of range", HostileTable([](MergeBuilder&) {
         return std::vector<std::pair<std::string, std::string>>{
             {"crRows", MergeBuilder::Ref(999999)},
             {"crColumns", MergeBuilder::Ref(999998)},
             {"cellColumns", MergeBuilder::Ref(999997)}};
       }),
       "its rows or columns are missing or damaged"},
      {"rows that are the table itself", HostileTable([](MergeBuilder& b) {
         const int self = b.Next();  // the table entry Custom adds next
         return std::vector<std::pair<std::string, std::string>>{
             {"crRows", MergeBuilder::Ref(self)},
             {"crColumns", MergeBuilder::Ref(self)},
             {"cellColumns", MergeBuilder::Ref(self)}};
       }),
       "its rows or columns are missing or damaged"},
      {"a quarter of a million cells and more", Encode(huge), "it has too many cells"},
  };
  for (const auto& c : cases) {
    NoteTableCells table;
    std::string why;
    EXPECT_FALSE(Decode(c.bytes, &table, &why)) << c.what;
    EXPECT_EQ(why, c.why) << c.what;
  }
}

TEST(NoteTable, ColumnsSharingTheirCellsAreRefused) {
  MergeBuilder b;
  const int rows = Ordered(b, 'r', {0}, {});
  const int columns = Ordered(b, 'c', {0, 1}, {});
  const int column0 = b.Uuid(Id('c', 0)), column1 = b.Uuid(Id('c', 1));
  const int cells = b.Next();  // each column's cells are the column map itself
  b.Dictionary({{column0, cells}, {column1, cells}});
  b.Custom("com.apple.notes.ICTable", {{"crRows", MergeBuilder::Ref(rows)},
                                       {"crColumns", MergeBuilder::Ref(columns)},
                                       {"cellColumns", MergeBuilder::Ref(cells)}});
  NoteTableCells table;
  std::string why;
  EXPECT_FALSE(Decode(b.Bytes(), &table, &why));
  EXPECT_EQ(why, "its columns share their cells");
}

}  // namespace
