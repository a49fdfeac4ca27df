// Contacts in Google Contacts' own CSV layout.
#include "GoogleCsvWriter.h"

#include <algorithm>
#include <map>
#include <utility>

#include "CsvWriter.h"
#include "Dates.h"
#include "Labels.h"

namespace host {
namespace {

// A numbered group of columns and the item kinds it holds.
struct Section {
  const char* name;
  std::vector<int> kinds;
};

const Section kSections[] = {
    {"E-mail", {QX::kFieldEmail}},
    {"Phone", {QX::kFieldPhone}},
    {"Relation", {QX::kFieldRelatedName}},
    {"Website", {QX::kFieldUrl}},
    {"Event", {QX::kFieldDate}},
    {"Custom Field", {QX::kFieldInstantMessage, QX::kFieldSocialProfile, QX::kFieldOther}},
};
const size_t kAddressSection = 2;  // addresses come after the phones, as in Google's export

const char* const kAddressParts[] = {"Label",       "Formatted", "Street",
                                     "City",        "PO Box",    "Region",
                                     "Postal Code", "Country",   "Extended Address"};

const char* const kLeading[] = {"First Name",
                                "Middle Name",
                                "Last Name",
                                "Phonetic First Name",
                                "Phonetic Middle Name",
                                "Phonetic Last Name",
                                "Name Prefix",
                                "Name Suffix",
                                "Nickname",
                                "File As",
                                "Organization Name",
                                "Organization Title",
                                "Organization Department",
                                "Birthday",
                                "Notes",
                                "Photo",
                                "Labels"};

const std::pair<const char*, const char*> kLabels[] = {
    {"HomeFAX", "Home Fax"}, {"WorkFAX", "Work Fax"}, {"OtherFAX", "Other Fax"}};

// A person's items of one section: one (label, values) per distinct label, in first-seen order.
using Grouped = std::vector<std::pair<std::string, std::vector<std::string>>>;

bool InSection(const Section& section, int kind) {
  const int known = kind >= QX::kFieldOther && kind <= QX::kFieldSocialProfile ? kind : 0;
  return std::find(section.kinds.begin(), section.kinds.end(), known) != section.kinds.end();
}

Grouped Group(const Contact& c, const Section& section) {
  Grouped out;
  for (const Field& f : c.fields) {
    if (!InSection(section, f.kind) || !f.value || f.value->empty()) continue;
    const std::string label = GoogleCsvWriter::Label(f.label.value_or(""));
    const std::string value = f.kind == QX::kFieldDate ? DeviceDateToIso(*f.value) : *f.value;
    auto same =
        std::find_if(out.begin(), out.end(), [&](const auto& g) { return g.first == label; });
    if (same == out.end())
      out.push_back({label, {value}});
    else
      same->second.push_back(value);
  }
  return out;
}

std::string Plain(const Text& t) {
  return t.value_or("");
}

std::string Formatted(const Address& a) {
  std::string line2 = Plain(a.city);
  for (const Text* part : {&a.state, &a.postalCode})
    if (part->has_value() && !(*part)->empty()) line2 += (line2.empty() ? "" : " ") + **part;
  std::string out;
  for (const std::string& line : {Plain(a.street), line2, Plain(a.country)})
    if (!line.empty()) out += (out.empty() ? "" : "\n") + line;
  return out;
}

// A row's parts: the leading cells, then each section's groups, the addresses before
// the section kAddressSection names.
std::vector<size_t> Units() {
  std::vector<size_t> units = {std::size(kLeading)};
  for (size_t s = 0; s < std::size(kSections); ++s) {
    if (s == kAddressSection) units.push_back(std::size(kAddressParts));
    units.push_back(2);
  }
  return units;
}

std::vector<std::string> Header(const std::vector<size_t>& counts) {
  std::vector<std::string> header(std::begin(kLeading), std::end(kLeading));
  auto numbered = [&](const char* name, size_t count, std::vector<const char*> parts) {
    for (size_t n = 1; n <= count; ++n)
      for (const char* part : parts)
        header.push_back(std::string(name) + " " + std::to_string(n) + " - " + part);
  };
  size_t part = 1;
  for (size_t s = 0; s < std::size(kSections); ++s) {
    if (s == kAddressSection)
      numbered("Address", counts[part++], {std::begin(kAddressParts), std::end(kAddressParts)});
    numbered(kSections[s].name, counts[part++], {"Label", "Value"});
  }
  return header;
}

std::vector<std::string> Leading(const Contact& c) {
  std::vector<std::string> labels = {"* myContacts"};
  labels.insert(labels.end(), c.groups.begin(), c.groups.end());
  return {Plain(c.firstName),
          Plain(c.middleName),
          Plain(c.lastName),
          Plain(c.firstNameYomi),
          "",
          Plain(c.lastNameYomi),
          "",
          Plain(c.suffix),
          Plain(c.nickname),
          "",
          Plain(c.companyName),
          Plain(c.jobTitle),
          Plain(c.department),
          c.birthday ? DeviceDateToIso(*c.birthday) : "",
          Plain(c.notes),
          "",
          JoinValues(labels)};
}

std::vector<std::string> Addresses(const Contact& c) {
  std::vector<std::string> cells;
  for (const Address& a : c.addresses)
    cells.insert(cells.end(),
                 {GoogleCsvWriter::Label(Plain(a.type)), Formatted(a), Plain(a.street),
                  Plain(a.city), "", Plain(a.state), Plain(a.postalCode), Plain(a.country), ""});
  return cells;
}

TableParts ContactParts(const Contact& c) {
  TableParts parts = {Leading(c)};
  for (size_t s = 0; s < std::size(kSections); ++s) {
    if (s == kAddressSection) parts.push_back(Addresses(c));
    std::vector<std::string> cells;
    for (const auto& group : Group(c, kSections[s])) {
      cells.push_back(group.first);
      cells.push_back(JoinValues(group.second));
    }
    parts.push_back(std::move(cells));
  }
  return parts;
}

}  // namespace

std::string GoogleCsvWriter::Label(const std::string& deviceLabel) {
  const std::string shown = DisplayLabel(deviceLabel);
  for (const auto& entry : kLabels)
    if (IsStandardLabel(deviceLabel) && shown == entry.first) return entry.second;
  return shown;
}

TableLayout GoogleCsvWriter::Layout() {
  return {Units(), Header, ContactParts};
}

void GoogleCsvWriter::Write(std::ostream& out, const std::vector<Contact>& contacts, bool bom) {
  WriteTable(out, Layout(), contacts, bom);
}

}  // namespace host
