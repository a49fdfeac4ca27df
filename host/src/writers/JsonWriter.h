// JsonWriter: contacts as a JSON document (an array of objects; notes: NoteJson.h).
//
// Contacts: the texts the device sent under camel-case names (absent ones left out), the
// birthday as YYYY-MM-DD, and one array per kind of item ("phones", "emails", "urls",
// "addresses", "instantMessaging", "socialProfiles", "relatedNames", "dates", "other").
// An item's "label" is the bare label ("Mobile"); "deviceLabel" keeps the device's own
// text where it differs ("_$!<Mobile>!$_").
//
// Ownership: writes to a stream the caller owns. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_JSONWRITER_H_
#define VELDRAKE_HOST_JSONWRITER_H_

#include <ostream>
#include <vector>

#include "Records.h"

namespace host {

class JsonWriter {
 public:
  static void WriteContacts(std::ostream& out, const std::vector<Contact>& contacts);
};

}  // namespace host

#endif  // VELDRAKE_HOST_JSONWRITER_H_
