#include "CsvWriter.h"

#include <algorithm>

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
    {kPhone, "Phone", "Label", "Value"},
    {kEmail, "E-mail", "Label", "Value"},
    {kUrl, "URL", "Label", "Value"},
    {kInstantMessage, "IM", "Service", "User"},
    {kSocialProfile, "Social Profile", "Service", "User"},
    {kRelatedName, "Related Name", "Label", "Value"},
    {kDate, "Date", "Label", "Value"},
    {kOther, "Other", "Label", "Value"},
};

int GroupKind(int kind) {
  return kind >= kOther && kind <= kSocialProfile ? kind : kOther;
}

std::vector<const Field*> OfKind(const Contact& c, int kind) {
  std::vector<const Field*> out;
  for (const Field& f : c.fields)
    if (GroupKind(f.kind) == kind) out.push_back(&f);
  return out;
}

void Row(std::ostream& out, const std::vector<std::string>& cells) {
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i) out << ',';
    out << CsvWriter::Cell(cells[i]);
  }
  out << "\r\n";
}

}  // namespace

std::string CsvWriter::Cell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string out = "\"";
  for (char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

void CsvWriter::Write(std::ostream& out, const std::vector<Contact>& contacts) {
  size_t counts[sizeof kGroups / sizeof kGroups[0]] = {};
  size_t addresses = 0;
  for (const Contact& c : contacts) {
    for (size_t g = 0; g < std::size(kGroups); ++g)
      counts[g] = std::max(counts[g], OfKind(c, kGroups[g].kind).size());
    addresses = std::max(addresses, c.addresses.size());
  }

  std::vector<std::string> header = {
      "First Name", "Middle Name",         "Last Name",          "Suffix",
      "Nickname",   "Phonetic First Name", "Phonetic Last Name", "Company",
      "Department", "Job Title",           "Birthday",           "Notes"};
  for (size_t g = 0; g < std::size(kGroups); ++g) {
    for (size_t n = 1; n <= counts[g]; ++n) {
      const std::string prefix = std::string(kGroups[g].name) + " " + std::to_string(n) + " ";
      header.push_back(prefix + kGroups[g].first);
      header.push_back(prefix + kGroups[g].second);
    }
    if (kGroups[g].kind == kEmail) {  // addresses follow the e-mail columns
      for (size_t n = 1; n <= addresses; ++n) {
        const std::string prefix = "Address " + std::to_string(n) + " ";
        for (const char* part : {"Type", "Street", "City", "State", "Postal Code", "Country"})
          header.push_back(prefix + part);
      }
    }
  }
  Row(out, header);

  for (const Contact& c : contacts) {
    auto text = [](const Text& t) { return t.value_or(""); };
    std::vector<std::string> row = {text(c.firstName),
                                    text(c.middleName),
                                    text(c.lastName),
                                    text(c.suffix),
                                    text(c.nickname),
                                    text(c.firstNameYomi),
                                    text(c.lastNameYomi),
                                    text(c.companyName),
                                    text(c.department),
                                    text(c.jobTitle),
                                    c.birthday ? DeviceDateToIso(*c.birthday) : "",
                                    text(c.notes)};
    for (size_t g = 0; g < std::size(kGroups); ++g) {
      std::vector<const Field*> fields = OfKind(c, kGroups[g].kind);
      for (size_t n = 0; n < counts[g]; ++n) {
        if (n >= fields.size()) {
          row.insert(row.end(), 2, "");
          continue;
        }
        const Field& f = *fields[n];
        const bool service = f.kind == kInstantMessage || f.kind == kSocialProfile;
        row.push_back(service ? text(f.label) : DisplayLabel(text(f.label)));
        row.push_back(f.kind == kDate && f.value ? DeviceDateToIso(*f.value) : text(f.value));
      }
      if (kGroups[g].kind != kEmail) continue;
      for (size_t n = 0; n < addresses; ++n) {
        if (n >= c.addresses.size()) {
          row.insert(row.end(), 6, "");
          continue;
        }
        const Address& a = c.addresses[n];
        row.insert(row.end(), {DisplayLabel(text(a.type)), text(a.street), text(a.city),
                               text(a.state), text(a.postalCode), text(a.country)});
      }
    }
    Row(out, row);
  }
}

}  // namespace host
