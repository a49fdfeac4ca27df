// NoteTable: a table attachment's merge document (gzip-compressed, MergeDocument.h) as
// rows and columns of cells in the phone's order.
//
// Rows and columns are the table's two ordered sets: slots in the order listed, kept only
// while the set still holds them, each naming its row or column; a row or column named
// twice counts once, where it first appears. A cell missing from the cell map is empty.
// The phone's column order is kept for a right-to-left table too (it says so in
// `rightToLeft`). A table of more than kMaxTableCells cells, or whose references lead
// nowhere, is refused with a reason. One thread; keeps nothing.
#ifndef VELDRAKE_BACKUP_NOTETABLE_H_
#define VELDRAKE_BACKUP_NOTETABLE_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "NoteRender.h"

namespace veldrake::backup {

constexpr size_t kMaxTableCells = size_t{1} << 18;

// Decodes the inflated merge document; false with `why` (one phrase) when it is no table.
bool DecodeNoteTable(const uint8_t* data, size_t size, NoteTableCells* table, std::string* why);

// Inflates (with the body's cap) and decodes a stored merge document.
bool ReadNoteTable(const std::string& stored, NoteTableCells* table, std::string* why);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTETABLE_H_
