// PListNoteAnalysis: turns one reply of the note conversation into QX::Notes records and
// hands each to the host's callback on the spot.
//
// Keeps nothing between calls: exactly one record is alive at a time, from its creation
// until the callback has returned, so memory does not grow with the number of notes.
// The reply bytes come from the device and are untrusted. One thread; the callback runs
// on the caller's thread.
#ifndef VELDRAKE_PLISTNOTEANALYSIS_H_
#define VELDRAKE_PLISTNOTEANALYSIS_H_

#include <cstdint>

#include "veldrake/RecordCallback.h"

namespace QX {
struct Notes;
}

class PListNoteAnalysis {
 public:
  // The host's record callback, receiving a QX::Notes*; -1 stops the export.
  using Callback = VeldrakeRecordCallback;

  // Decodes `reply` (`length` bytes, a binary property list whose root is an array; the
  // bytes stay the caller's) and delivers every non-empty dictionary found as a value of a
  // non-empty dictionary of the root array, in key order, as one note. Results:
  //    0  go on: null or unreadable reply (a negative length counts as no data), or at
  //       least one element of the root array was a non-empty dictionary;
  //    1  the root array has elements but none is a non-empty dictionary (no records);
  //   -1  the root is null or not an array, or the callback returned -1;
  //   -2  the root array is empty.
  // REQUIRES: `callback` is a valid Callback whenever the reply can hold a note.
  int Analysis(char* reply, int length, void* callback);

  // A device date (seconds since 2001) cut toward zero to whole seconds. NaN counts as
  // absent (-1); values beyond the int64 range are clamped to its ends.
  static int64_t TruncateDate(double seconds);
};

#endif  // VELDRAKE_PLISTNOTEANALYSIS_H_
