// JsonWriter: contacts as a JSON document (an array of objects; notes: NoteJson.h).
//
// Contacts: the texts the device sent under camel-case names (absent ones left out), the
// birthday as YYYY-MM-DD, and one array per kind of item ("phones", "emails", "urls",
// "addresses", "instantMessaging", "socialProfiles", "relatedNames", "dates", "other").
// An item's "label" is the bare label ("Mobile"); "deviceLabel" keeps the device's own
// text where it differs ("_$!<Mobile>!$_"). From a backup also "account", "accountType",
// "groups", "created" and "modified" (ISO 8601 UTC) and "photo": {"type", "data" (base64)
// or "path", "crop" when the phone keeps one}.
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

  // The same document one contact at a time: Add for each, then End.
  class ContactArray {
   public:
    explicit ContactArray(std::ostream& out) : out_(out) {}
    // `photoPath` as in WriteContacts (null: the photo's bytes inline).
    void Add(const Contact& contact, const std::string* photoPath);
    void End();

   private:
    std::ostream& out_;
    size_t count_ = 0;
  };
};

}  // namespace host

#endif  // VELDRAKE_HOST_JSONWRITER_H_
