// Contacts as one CSV table, a header row and one row per contact.
#include "CsvWriter.h"

#include <algorithm>
#include <iterator>

#include "Dates.h"
#include "Labels.h"

namespace host {
namespace {

struct Group {
  int kind;
  const char* name;
  const char* first;   // heading of the label column
  const char* second;  // heading of the value column
};

// Kinds outside these are written with "other".
const Group kGroups[] = {
    {QX::kFieldPhone, "Phone", "Label", "Value"},
    {QX::kFieldEmail, "E-mail", "Label", "Value"},
    {QX::kFieldUrl, "URL", "Label", "Value"},
    {QX::kFieldInstantMessage, "IM", "Service", "User"},
    {QX::kFieldSocialProfile, "Social Profile", "Service", "User"},
    {QX::kFieldRelatedName, "Related Name", "Label", "Value"},
    {QX::kFieldDate, "Date", "Label", "Value"},
    {QX::kFieldOther, "Other", "Label", "Value"},
};

int GroupKind(int kind) {
  return kind >= QX::kFieldOther && kind <= QX::kFieldSocialProfile ? kind : QX::kFieldOther;
}

std::vector<const Field*> OfKind(const Contact& c, int kind) {
  std::vector<const Field*> out;
  for (const Field& f : c.fields)
    if (GroupKind(f.kind) == kind) out.push_back(&f);
  return out;
}

// How many column groups each kind of item and the addresses need: as many as the
// contact with the most of them has.
struct Widths {
  size_t items[std::size(kGroups)] = {};
  size_t addresses = 0;
};

Widths Measure(const std::vector<Contact>& contacts) {
  Widths widths;
  for (const Contact& c : contacts) {
    for (size_t g = 0; g < std::size(kGroups); ++g)
      widths.items[g] = std::max(widths.items[g], OfKind(c, kGroups[g].kind).size());
    widths.addresses = std::max(widths.addresses, c.addresses.size());
  }
  return widths;
}

const char* const kAddressParts[] = {"Type", "Street", "City", "State", "Postal Code", "Country"};

std::vector<std::string> Header(const Widths& widths) {
  std::vector<std::string> header = {"First Name",
                                     "Middle Name",
                                     "Last Name",
                                     "Suffix",
                                     "Nickname",
                                     "Phonetic First Name",
                                     "Phonetic Last Name",
                                     "Company",
                                     "Department",
                                     "Job Title",
                                     "Birthday",
                                     "Notes",
                                     "Groups",
                                     "Account"};
  for (size_t g = 0; g < std::size(kGroups); ++g) {
    for (size_t n = 1; n <= widths.items[g]; ++n) {
      const std::string prefix = std::string(kGroups[g].name) + " " + std::to_string(n) + " ";
      header.push_back(prefix + kGroups[g].first);
      header.push_back(prefix + kGroups[g].second);
    }
    if (kGroups[g].kind != QX::kFieldEmail) continue;  // addresses follow the e-mail columns
    for (size_t n = 1; n <= widths.addresses; ++n)
      for (const char* part : kAddressParts)
        header.push_back("Address " + std::to_string(n) + " " + part);
  }
  return header;
}

std::string Plain(const Text& t) {
  return t.value_or("");
}

void AddItems(std::vector<std::string>* row, const std::vector<const Field*>& fields,
              size_t width) {
  for (size_t n = 0; n < width; ++n) {
    if (n >= fields.size()) {
      row->insert(row->end(), 2, "");
      continue;
    }
    const Field& f = *fields[n];
    const bool service = f.kind == QX::kFieldInstantMessage || f.kind == QX::kFieldSocialProfile;
    row->push_back(service ? Plain(f.label) : DisplayLabel(Plain(f.label)));
    row->push_back(f.kind == QX::kFieldDate && f.value ? DeviceDateToIso(*f.value)
                                                       : Plain(f.value));
  }
}

void AddAddresses(std::vector<std::string>* row, const std::vector<Address>& addresses,
                  size_t width) {
  for (size_t n = 0; n < width; ++n) {
    if (n >= addresses.size()) {
      row->insert(row->end(), std::size(kAddressParts), "");
      continue;
    }
    const Address& a = addresses[n];
    row->insert(row->end(), {DisplayLabel(Plain(a.type)), Plain(a.street), Plain(a.city),
                             Plain(a.state), Plain(a.postalCode), Plain(a.country)});
  }
}

std::vector<std::string> ContactRow(const Contact& c, const Widths& widths) {
  std::vector<std::string> row = {Plain(c.firstName),
                                  Plain(c.middleName),
                                  Plain(c.lastName),
                                  Plain(c.suffix),
                                  Plain(c.nickname),
                                  Plain(c.firstNameYomi),
                                  Plain(c.lastNameYomi),
                                  Plain(c.companyName),
                                  Plain(c.department),
                                  Plain(c.jobTitle),
                                  c.birthday ? DeviceDateToIso(*c.birthday) : "",
                                  Plain(c.notes),
                                  JoinValues(c.groups),
                                  c.account ? *c.account : Plain(c.accountType)};
  for (size_t g = 0; g < std::size(kGroups); ++g) {
    AddItems(&row, OfKind(c, kGroups[g].kind), widths.items[g]);
    if (kGroups[g].kind == QX::kFieldEmail) AddAddresses(&row, c.addresses, widths.addresses);
  }
  return row;
}

}  // namespace

void CsvWriter::Row(std::ostream& out, const std::vector<std::string>& cells) {
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i) out << ',';
    out << Cell(cells[i]);
  }
  out << "\r\n";
}

void CsvWriter::StartTable(std::ostream& out, bool bom) {
  static const char kByteOrderMark[] = "\xEF\xBB\xBF";
  if (bom) out << kByteOrderMark;
}

std::string JoinValues(const std::vector<std::string>& values) {
  std::string out;
  for (const std::string& value : values) out += (out.empty() ? "" : " ::: ") + value;
  return out;
}

std::string CsvWriter::Cell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string out = "\"";
  for (char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

void CsvWriter::Write(std::ostream& out, const std::vector<Contact>& contacts, bool bom) {
  StartTable(out, bom);
  const Widths widths = Measure(contacts);
  Row(out, Header(widths));
  for (const Contact& c : contacts) Row(out, ContactRow(c, widths));
}

}  // namespace host
