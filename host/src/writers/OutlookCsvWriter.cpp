// Contacts in Outlook's own CSV layout: each item into the column its label names.
#include "OutlookCsvWriter.h"

#include <map>

#include "CsvWriter.h"
#include "Dates.h"
#include "Labels.h"

namespace host {
namespace {

const char* const kColumns[] = {"Title",
                                "First Name",
                                "Middle Name",
                                "Last Name",
                                "Suffix",
                                "Company",
                                "Department",
                                "Job Title",
                                "Business Street",
                                "Business Street 2",
                                "Business Street 3",
                                "Business City",
                                "Business State",
                                "Business Postal Code",
                                "Business Country/Region",
                                "Home Street",
                                "Home Street 2",
                                "Home Street 3",
                                "Home City",
                                "Home State",
                                "Home Postal Code",
                                "Home Country/Region",
                                "Other Street",
                                "Other Street 2",
                                "Other Street 3",
                                "Other City",
                                "Other State",
                                "Other Postal Code",
                                "Other Country/Region",
                                "Assistant's Phone",
                                "Business Fax",
                                "Business Phone",
                                "Business Phone 2",
                                "Callback",
                                "Car Phone",
                                "Company Main Phone",
                                "Home Fax",
                                "Home Phone",
                                "Home Phone 2",
                                "ISDN",
                                "Mobile Phone",
                                "Other Fax",
                                "Other Phone",
                                "Pager",
                                "Primary Phone",
                                "Radio Phone",
                                "TTY/TDD Phone",
                                "Telex",
                                "Account",
                                "Anniversary",
                                "Assistant's Name",
                                "Billing Information",
                                "Birthday",
                                "Business Address PO Box",
                                "Categories",
                                "Children",
                                "Directory Server",
                                "E-mail Address",
                                "E-mail Type",
                                "E-mail Display Name",
                                "E-mail 2 Address",
                                "E-mail 2 Type",
                                "E-mail 2 Display Name",
                                "E-mail 3 Address",
                                "E-mail 3 Type",
                                "E-mail 3 Display Name",
                                "Gender",
                                "Government ID Number",
                                "Hobby",
                                "Home Address PO Box",
                                "Initials",
                                "Internet Free Busy",
                                "Keywords",
                                "Language",
                                "Location",
                                "Manager's Name",
                                "Mileage",
                                "Notes",
                                "Office Location",
                                "Organizational ID Number",
                                "Other Address PO Box",
                                "Priority",
                                "Private",
                                "Profession",
                                "Referred By",
                                "Sensitivity",
                                "Spouse",
                                "User 1",
                                "User 2",
                                "User 3",
                                "User 4",
                                "Web Page"};

// The columns an item may go into, by kind and the device's label, in order of preference.
struct Place {
  int kind;
  const char* label;  // the bare label; "" any
  std::vector<const char*> columns;
};

const Place kPlaces[] = {
    {QX::kFieldPhone, "Mobile", {"Mobile Phone"}},
    {QX::kFieldPhone, "iPhone", {"Mobile Phone"}},
    {QX::kFieldPhone, "Home", {"Home Phone", "Home Phone 2"}},
    {QX::kFieldPhone, "Work", {"Business Phone", "Business Phone 2"}},
    {QX::kFieldPhone, "Main", {"Primary Phone", "Company Main Phone"}},
    {QX::kFieldPhone, "HomeFAX", {"Home Fax"}},
    {QX::kFieldPhone, "WorkFAX", {"Business Fax"}},
    {QX::kFieldPhone, "OtherFAX", {"Other Fax"}},
    {QX::kFieldPhone, "Pager", {"Pager"}},
    {QX::kFieldPhone, "", {"Other Phone", "Callback", "Car Phone"}},
    {QX::kFieldEmail, "", {"E-mail Address", "E-mail 2 Address", "E-mail 3 Address"}},
    {QX::kFieldUrl, "", {"Web Page"}},
    {QX::kFieldRelatedName, "Spouse", {"Spouse"}},
    {QX::kFieldRelatedName, "Partner", {"Spouse"}},
    {QX::kFieldRelatedName, "Child", {"Children"}},
    {QX::kFieldRelatedName, "Manager", {"Manager's Name"}},
    {QX::kFieldRelatedName, "Assistant", {"Assistant's Name"}},
    {QX::kFieldDate, "Anniversary", {"Anniversary"}},
};

// Outlook's address blocks by the device's address label; any other label is "Other".
const std::pair<const char*, const char*> kAddressBlocks[] = {{"Home", "Home"},
                                                              {"Work", "Business"}};

using Cells = std::map<std::string, std::string>;

std::string Plain(const Text& t) {
  return t.value_or("");
}

// M/D/YYYY, or "" for a date without a year or not in the device's form.
std::string OutlookDate(const std::string& deviceDate) {
  const std::optional<CivilDate> date = ParseDeviceDate(deviceDate);
  if (!date || date->year == kYearOmitted) return "";
  return std::to_string(date->month) + "/" + std::to_string(date->day) + "/" +
         std::to_string(date->year);
}

// Puts the item into its first free column; false when every one is taken.
bool PutInColumn(Cells* cells, const Field& f, const std::string& value) {
  const std::string label = DisplayLabel(f.label.value_or(""));
  for (const auto& place : kPlaces) {
    if (place.kind != f.kind || (place.label[0] != '\0' && label != place.label)) continue;
    for (const char* column : place.columns) {
      std::string& cell = (*cells)[column];
      if (!cell.empty()) continue;
      cell = value;
      if (f.kind == QX::kFieldEmail) {  // "E-mail 2 Address" -> "E-mail 2 Type"
        std::string type = column;
        type.replace(type.rfind("Address"), std::string("Address").size(), "Type");
        (*cells)[type] = "SMTP";
      }
      return true;
    }
    return false;
  }
  return false;
}

void PlaceAddress(Cells* cells, const Address& a, std::string* overflow) {
  const std::string label = DisplayLabel(Plain(a.type));
  std::string block = "Other";
  for (const auto& entry : kAddressBlocks)
    if (label == entry.first) block = entry.second;
  std::string& street = (*cells)[block + " Street"];
  const std::string country = block + " Country/Region";
  if (!street.empty() || !(*cells)[block + " City"].empty() || !(*cells)[country].empty()) {
    *overflow += (label.empty() ? "Address" : label) + ": " + Plain(a.street) + ", " +
                 Plain(a.city) + " " + Plain(a.state) + " " + Plain(a.postalCode) + ", " +
                 Plain(a.country) + "\n";
    return;
  }
  // Outlook takes three street lines; the rest stay in the third.
  std::string lines[3];
  std::string rest = Plain(a.street);
  size_t used = 0;
  for (size_t newline; used < 2 && (newline = rest.find('\n')) != std::string::npos; ++used) {
    lines[used] = rest.substr(0, newline);
    rest.erase(0, newline + 1);
  }
  lines[used] = rest;
  street = lines[0];
  (*cells)[block + " Street 2"] = lines[1];
  (*cells)[block + " Street 3"] = lines[2];
  (*cells)[block + " City"] = Plain(a.city);
  (*cells)[block + " State"] = Plain(a.state);
  (*cells)[block + " Postal Code"] = Plain(a.postalCode);
  (*cells)[country] = Plain(a.country);
}

Cells ContactCells(const Contact& c) {
  Cells cells = {{"First Name", Plain(c.firstName)}, {"Middle Name", Plain(c.middleName)},
                 {"Last Name", Plain(c.lastName)},   {"Suffix", Plain(c.suffix)},
                 {"Company", Plain(c.companyName)},  {"Department", Plain(c.department)},
                 {"Job Title", Plain(c.jobTitle)}};
  std::string overflow;
  if (c.birthday) {
    cells["Birthday"] = OutlookDate(*c.birthday);
    if (cells["Birthday"].empty()) overflow += "Birthday: " + DeviceDateToIso(*c.birthday) + "\n";
  }
  for (const Field& f : c.fields) {
    if (!f.value || f.value->empty()) continue;
    const std::string dated = f.kind == QX::kFieldDate ? OutlookDate(*f.value) : *f.value;
    if (dated.empty() || !PutInColumn(&cells, f, dated))
      overflow += DisplayLabel(f.label.value_or("Item")) + ": " +
                  (f.kind == QX::kFieldDate ? DeviceDateToIso(*f.value) : *f.value) + "\n";
  }
  for (const Address& a : c.addresses) PlaceAddress(&cells, a, &overflow);
  std::string categories;
  for (const std::string& group : c.groups) categories += (categories.empty() ? "" : ";") + group;
  cells["Categories"] = categories;
  const std::string notes = Plain(c.notes);
  if (!overflow.empty()) overflow.pop_back();
  cells["Notes"] = notes.empty() || overflow.empty() ? notes + overflow : notes + "\n" + overflow;
  return cells;
}

}  // namespace

const std::vector<std::string>& OutlookCsvWriter::Header() {
  static const std::vector<std::string> header(std::begin(kColumns), std::end(kColumns));
  return header;
}

void OutlookCsvWriter::Write(std::ostream& out, const std::vector<Contact>& contacts, bool bom) {
  CsvWriter::StartTable(out, bom);
  CsvWriter::Row(out, Header());
  for (const Contact& c : contacts) Row(out, c);
}

void OutlookCsvWriter::Row(std::ostream& out, const Contact& contact) {
  Cells cells = ContactCells(contact);
  std::vector<std::string> row;
  row.reserve(Header().size());
  for (const std::string& column : Header()) row.push_back(cells[column]);
  CsvWriter::Row(out, row);
}

}  // namespace host
