// Contacts as one CSV table, a header row and one row per contact.
#include "CsvWriter.h"

#include <algorithm>
#include <iterator>

#include "ContactTable.h"
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

const char* const kLeading[] = {"First Name",
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

const char* const kAddressParts[] = {"Type", "Street", "City", "State", "Postal Code", "Country"};

// A row's parts: the leading cells, then each group's items, the addresses after the
// e-mails.
std::vector<size_t> Units() {
  std::vector<size_t> units = {std::size(kLeading)};
  for (const Group& group : kGroups) {
    units.push_back(2);
    if (group.kind == QX::kFieldEmail) units.push_back(std::size(kAddressParts));
  }
  return units;
}

std::vector<std::string> Header(const std::vector<size_t>& counts) {
  std::vector<std::string> header(std::begin(kLeading), std::end(kLeading));
  size_t part = 1;
  for (const Group& group : kGroups) {
    for (size_t n = 1; n <= counts[part]; ++n) {
      const std::string prefix = std::string(group.name) + " " + std::to_string(n) + " ";
      header.push_back(prefix + group.first);
      header.push_back(prefix + group.second);
    }
    ++part;
    if (group.kind != QX::kFieldEmail) continue;
    for (size_t n = 1; n <= counts[part]; ++n)
      for (const char* name : kAddressParts)
        header.push_back("Address " + std::to_string(n) + " " + name);
    ++part;
  }
  return header;
}

std::string Plain(const Text& t) {
  return t.value_or("");
}

std::vector<std::string> Items(const std::vector<const Field*>& fields) {
  std::vector<std::string> cells;
  for (const Field* f : fields) {
    const bool service = f->kind == QX::kFieldInstantMessage || f->kind == QX::kFieldSocialProfile;
    cells.push_back(service ? Plain(f->label) : DisplayLabel(Plain(f->label)));
    cells.push_back(f->kind == QX::kFieldDate && f->value ? DeviceDateToIso(*f->value)
                                                          : Plain(f->value));
  }
  return cells;
}

std::vector<std::string> Addresses(const std::vector<Address>& addresses) {
  std::vector<std::string> cells;
  for (const Address& a : addresses)
    cells.insert(cells.end(), {DisplayLabel(Plain(a.type)), Plain(a.street), Plain(a.city),
                               Plain(a.state), Plain(a.postalCode), Plain(a.country)});
  return cells;
}

TableParts ContactParts(const Contact& c) {
  TableParts parts = {{Plain(c.firstName), Plain(c.middleName), Plain(c.lastName), Plain(c.suffix),
                       Plain(c.nickname), Plain(c.firstNameYomi), Plain(c.lastNameYomi),
                       Plain(c.companyName), Plain(c.department), Plain(c.jobTitle),
                       c.birthday ? DeviceDateToIso(*c.birthday) : "", Plain(c.notes),
                       JoinValues(c.groups), c.account ? *c.account : Plain(c.accountType)}};
  for (const Group& group : kGroups) {
    parts.push_back(Items(OfKind(c, group.kind)));
    if (group.kind == QX::kFieldEmail) parts.push_back(Addresses(c.addresses));
  }
  return parts;
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

TableLayout CsvWriter::Layout() {
  return {Units(), Header, ContactParts};
}

void CsvWriter::Write(std::ostream& out, const std::vector<Contact>& contacts, bool bom) {
  WriteTable(out, Layout(), contacts, bom);
}

}  // namespace host
