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
  // What Analysis tells the conversation: kNoRecords and every negative result end its
  // loop.
  enum Result : int {
    kGoOn = 0,       // null or unreadable reply (a negative length counts as no data), or
                     // at least one element of the root array was a non-empty dictionary
    kNoRecords = 1,  // the root array has elements but none is a non-empty dictionary
    kStop = -1,      // the root is null or not an array, or the callback returned kHostStops
    kEmptyRoot = -2,
  };
  // The callback's answer that stops the export; every other answer goes on.
  static constexpr int kHostStops = -1;
  // dateModified of a note without a date.
  static constexpr int64_t kNoDate = -1;

  // Decodes `reply` (`length` bytes, a binary property list whose root is an array; the
  // bytes stay the caller's) and delivers every non-empty dictionary found as a value of a
  // non-empty dictionary of the root array, in key order, as one note; a Result.
  // REQUIRES: `callback` is a VeldrakeRecordCallback (taking a QX::Notes*) whenever the reply can
  // hold a note.
  int Analysis(char* reply, int length, void* callback);

  // A device date (seconds since 2001) cut toward zero to whole seconds. NaN counts as
  // absent (kNoDate); values beyond the int64 range saturate at its ends.
  static int64_t TruncateDate(double seconds);
};

#endif  // VELDRAKE_PLISTNOTEANALYSIS_H_
