// JsonWriter: contacts and notes as JSON documents (an array of objects each).
//
// Contacts: the texts the device sent under camel-case names (absent ones left out), the
// birthday as YYYY-MM-DD, and one array per kind of item ("phones", "emails", "urls",
// "addresses", "instantMessaging", "socialProfiles", "relatedNames", "dates", "other").
// An item's "label" is the bare label ("Mobile"); "deviceLabel" keeps the device's own
// text where it differs ("_$!<Mobile>!$_"). From a backup also "account", "accountType",
// "groups", "created" and "modified" (ISO 8601 UTC) and "photo": {"type", "data" (base64)
// or "path", "crop" when the phone keeps one}. Notes: "subject", "content" (null when
// absent) and "modified" as ISO 8601 UTC (null for no date), the form the emulator reads.
//
// Ownership: writes to a stream the caller owns. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_JSONWRITER_H_
#define VELDRAKE_HOST_JSONWRITER_H_

#include <ostream>
#include <string>
#include <vector>

#include "Records.h"

namespace host {

class JsonWriter {
 public:
  // `photoPaths` (one per contact, or null): each photo is a file of its own beside the
  // document and "photo" gives its relative path instead of its bytes.
  static void WriteContacts(std::ostream& out, const std::vector<Contact>& contacts,
                            const std::vector<std::string>* photoPaths = nullptr);
  static void WriteNotes(std::ostream& out, const std::vector<Note>& notes);
  // The same document one note at a time, the note's texts moved rather than copied:
  // WriteNoteItem for the `index`-th note (0-based), then EndNotes with the count.
  static void WriteNoteItem(std::ostream& out, Note&& note, size_t index);
  static void EndNotes(std::ostream& out, size_t count);
};

}  // namespace host

#endif  // VELDRAKE_HOST_JSONWRITER_H_
