// OutlookCsvWriter: contacts as the table Outlook (the desktop mail client) exports and
// imports, its fixed header of named columns word for word.
//
// Outlook has a column per kind of phone, three e-mail addresses and one address each for
// home, business and other, so items are put where their label says: Mobile and iPhone
// into "Mobile Phone", Home into "Home Phone" then "Home Phone 2", Work into "Business
// Phone" then "Business Phone 2", the faxes, Pager and Main ("Primary Phone"); anything
// else into "Other Phone". An item that finds its column taken is not lost: it goes into
// "Notes" as a "Label: value" line. Groups become "Categories" (joined by ";"), related
// names with a matching label "Spouse", "Children", "Manager's Name" and "Assistant's
// Name", the first anniversary "Anniversary". Dates are M/D/YYYY, as Outlook writes them;
// a date without a year goes into the notes.
//
// Ownership: writes to a stream the caller owns. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_OUTLOOKCSVWRITER_H_
#define VELDRAKE_HOST_OUTLOOKCSVWRITER_H_

#include <ostream>
#include <string>
#include <vector>

#include "Records.h"

namespace host {

class OutlookCsvWriter {
 public:
  static void Write(std::ostream& out, const std::vector<Contact>& contacts, bool bom = false);
  // One contact's row, for a table written one contact at a time (after the byte order
  // mark and the header).
  static void Row(std::ostream& out, const Contact& contact);
  // Outlook's header, in its order.
  static const std::vector<std::string>& Header();
};

}  // namespace host

#endif  // VELDRAKE_HOST_OUTLOOKCSVWRITER_H_
