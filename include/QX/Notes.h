// QX::Notes: one note as the host's record callback receives it.
//
// The host reads the members directly, so their order and widths are part of the
// library's interface. Texts are NUL-terminated narrow strings (UTF-8 under a UTF-8
// locale) made with array new; null means the device sent no usable value.
// `dateModified` is whole seconds relative to 2001-01-01T00:00:00 UTC, -1 when absent.
//
// Ownership: the record belongs to the library and lives only for the one callback that
// receives it; the host copies what it keeps and never frees it. One thread.
#ifndef VELDRAKE_QX_NOTES_H_
#define VELDRAKE_QX_NOTES_H_

#include <cstdint>

#include "veldrake/Export.h"

namespace QX {

struct VELDRAKE_API Notes {
  Notes();
  // Releases subject, reservedText and content, in that order, where not null.
  ~Notes();

  Notes(const Notes&) = delete;
  Notes& operator=(const Notes&) = delete;

  int8_t reservedFlag;   // always 0
  char* subject;         // "subject", or null
  int64_t dateModified;  // "dateModified" cut toward zero to whole seconds, or -1
  char* content;         // "content", or null
  char* reservedText;    // always null
};

}  // namespace QX

#endif  // VELDRAKE_QX_NOTES_H_
