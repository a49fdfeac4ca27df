// GoogleCsvWriter: contacts as the table Google Contacts writes and reads back in.
//
// Its header: name parts, phonetic names, prefix and suffix, nickname, organisation, title,
// department, birthday, notes, photo and "Labels" (the person's groups, after
// "* myContacts", which files them under Contacts rather than Other contacts), then
// numbered groups of columns: "E-mail N - Label"/"Value", "Phone N", "Address N - Label,
// Formatted, Street, City, PO Box, Region, Postal Code, Country, Extended Address",
// "Relation N", "Website N", "Event N" and "Custom Field N" (messaging, social profiles
// and other items, labelled by service). Items of one kind that share a label share a
// column group, their values joined by " ::: ", as Google's own export does; each kind
// gets as many groups as the person with the most labels of it needs. Dates are
// YYYY-MM-DD, or --MM-DD without a year.
//
// Ownership: writes to a stream the caller owns. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_GOOGLECSVWRITER_H_
#define VELDRAKE_HOST_GOOGLECSVWRITER_H_

#include <ostream>
#include <string>
#include <vector>

#include "ContactTable.h"
#include "Records.h"

namespace host {

class GoogleCsvWriter {
 public:
  static void Write(std::ostream& out, const std::vector<Contact>& contacts, bool bom = false);
  // The table's parts, for writing it one contact at a time (ContactTable).
  static TableLayout Layout();
  // The label Google shows for a device label ("_$!<HomeFAX>!$_" -> "Home Fax").
  static std::string Label(const std::string& deviceLabel);
};

}  // namespace host

#endif  // VELDRAKE_HOST_GOOGLECSVWRITER_H_
