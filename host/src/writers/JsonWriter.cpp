// Contacts and notes as JSON arrays, through nlohmann::json for the escaping.
#include "JsonWriter.h"

#include <nlohmann/json.hpp>

#include "Dates.h"
#include "Labels.h"
#include "Photos.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

void Put(Json& object, const char* key, const Text& text) {
  if (text) object[key] = *text;
}

void PutLabel(Json& object, const char* key, const char* rawKey, const Text& label) {
  if (!label) return;
  object[key] = DisplayLabel(*label);
  if (DisplayLabel(*label) != *label) object[rawKey] = *label;
}

const char* ArrayName(int kind) {
  switch (kind) {
    case QX::kFieldPhone:
      return "phones";
    case QX::kFieldEmail:
      return "emails";
    case QX::kFieldUrl:
      return "urls";
    case QX::kFieldInstantMessage:
      return "instantMessaging";
    case QX::kFieldSocialProfile:
      return "socialProfiles";
    case QX::kFieldRelatedName:
      return "relatedNames";
    case QX::kFieldDate:
      return "dates";
    default:
      return "other";
  }
}

const int kIndent = 2;

// Texts are valid UTF-8 already; replacing is only the last line of defence.
std::string Dumped(const Json& value) {
  return value.dump(kIndent, ' ', false, Json::error_handler_t::replace);
}

void PutDate(Json& object, const char* key, int64_t seconds) {
  const std::optional<std::string> iso = UnixTimeToIso(seconds);
  if (iso) object[key] = *iso;
}

// What only a backup gives: the account, groups, dates and photo.
void PutDetails(Json& j, const Contact& c, const std::string* photoPath) {
  Put(j, "account", c.account);
  Put(j, "accountType", c.accountType);
  if (!c.groups.empty()) j["groups"] = c.groups;
  PutDate(j, "created", c.created);
  PutDate(j, "modified", c.modified);
  if (!c.photo) return;
  Json photo;
  photo["type"] = c.photo->mimeType;
  if (photoPath != nullptr)
    photo["path"] = *photoPath;
  else
    photo["data"] = Base64(c.photo->data);
  if (c.photo->hasCrop)
    photo["crop"] = {{"x", c.photo->cropX}, {"y", c.photo->cropY}, {"width", c.photo->cropWidth}};
  j["photo"] = std::move(photo);
}

Json ContactJson(const Contact& c, const std::string* photoPath) {
  Json j;
  j["id"] = c.id;
  Put(j, "firstName", c.firstName);
  Put(j, "middleName", c.middleName);
  Put(j, "lastName", c.lastName);
  Put(j, "suffix", c.suffix);
  Put(j, "nickname", c.nickname);
  Put(j, "phoneticFirstName", c.firstNameYomi);
  Put(j, "phoneticLastName", c.lastNameYomi);
  Put(j, "company", c.companyName);
  Put(j, "department", c.department);
  Put(j, "jobTitle", c.jobTitle);
  if (c.birthday) j["birthday"] = DeviceDateToIso(*c.birthday);
  Put(j, "notes", c.notes);
  for (const Field& f : c.fields) {
    Json item;
    if (f.kind == QX::kFieldInstantMessage || f.kind == QX::kFieldSocialProfile) {
      Put(item, "service", f.label);
      Put(item, "user", f.value);
    } else {
      if (f.kind < QX::kFieldPhone || f.kind > QX::kFieldSocialProfile) item["kind"] = f.kind;
      PutLabel(item, "label", "deviceLabel", f.label);
      if (f.value) item["value"] = f.kind == QX::kFieldDate ? DeviceDateToIso(*f.value) : *f.value;
    }
    j[ArrayName(f.kind)].push_back(std::move(item));
  }
  for (const Address& a : c.addresses) {
    Json item;
    PutLabel(item, "type", "deviceType", a.type);
    Put(item, "street", a.street);
    Put(item, "city", a.city);
    Put(item, "state", a.state);
    Put(item, "postalCode", a.postalCode);
    Put(item, "country", a.country);
    j["addresses"].push_back(std::move(item));
  }
  PutDetails(j, c, photoPath);
  return j;
}

}  // namespace

void JsonWriter::WriteContacts(std::ostream& out, const std::vector<Contact>& contacts,
                               const std::vector<std::string>* photoPaths) {
  ContactArray array(out);
  for (size_t i = 0; i < contacts.size(); ++i)
    array.Add(contacts[i], photoPaths ? &(*photoPaths)[i] : nullptr);
  array.End();
}

// An element as the whole array's dump places it: one level in. A line break in the dump
// is always layout, never text (strings escape theirs), so each is followed by the indent.
void JsonWriter::ContactArray::Add(const Contact& contact, const std::string* photoPath) {
  const std::string element = Dumped(ContactJson(contact, photoPath));
  const std::string indent(kIndent, ' ');
  out_ << (count_++ == 0 ? "[\n" : ",\n") << indent;
  size_t from = 0;
  for (size_t brk = element.find('\n'); brk != std::string::npos;
       from = brk + 1, brk = element.find('\n', from))
    out_.write(element.data() + from, static_cast<std::streamsize>(brk + 1 - from)) << indent;
  out_.write(element.data() + from, static_cast<std::streamsize>(element.size() - from));
}

void JsonWriter::ContactArray::End() {
  out_ << (count_ == 0 ? "[]\n" : "\n]\n");
}

}  // namespace host
