// Drives a table attachment's stored bytes through everything that reads them: the capped
// gunzip and the merge document (and the document on the raw bytes, so the decoder is
// reached without a valid gzip stream), then the table rendered in every format inside a
// note. Properties that must hold for every input end the run with a trap.
#include <cstddef>
#include <cstdint>
#include <string>

#include "NoteDocument.h"
#include "NoteRender.h"
#include "NoteTable.h"

namespace {

using namespace veldrake::backup;

constexpr size_t kFuzzCap = size_t{1} << 22;

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

void Check(bool decoded, const NoteTableCells& table, const std::string& why) {
  Require(decoded || !why.empty());  // a refusal always says why
  if (!decoded) return;
  Require(table.rows >= 0 && table.columns >= 0);
  const auto cells = static_cast<size_t>(table.rows) * static_cast<size_t>(table.columns);
  Require(cells == table.cells.size() && cells <= kMaxTableCells);
  // The table as a note's one object, in every format.
  NoteDocument note;
  note.strings = {"", "TABLE", "com.apple.notes.table"};
  NoteSpan object;
  object.object = true;
  object.objectId = 1;
  object.objectType = 2;
  note.lines.resize(2);
  note.lines[1].spans.push_back(object);
  const ShownObject shown{ObjectShow::kTable, "", "", &table};
  const ObjectLookup lookup = [&shown](const std::string&) { return &shown; };
  for (NoteFormat format : {NoteFormat::kText, NoteFormat::kMarkdown, NoteFormat::kHtml}) {
    std::string out;
    if (RenderNote(note, 1, format, lookup, kFuzzCap, &out)) Require(out.size() <= kFuzzCap);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NoteTableCells table;
  std::string why;
  const std::string stored(reinterpret_cast<const char*>(data), size);
  Check(ReadNoteTable(stored, &table, &why), table, why);
  why.clear();
  Check(DecodeNoteTable(data, size, &table, &why), table, why);
  return 0;
}
