// One vCard per person, or a JSON document with its photo files, into a folder.
#include "ContactFiles.h"

#include <sstream>

#include "JsonWriter.h"
#include "OutputFolder.h"
#include "Photos.h"
#include "VCardWriter.h"

namespace host {
namespace {

int64_t LastChange(const Contact& c) {
  return c.modified != kUnknownDate ? c.modified : c.created;
}

bool WriteCards(OutputFolder* folder, const Options& options, const std::vector<Contact>& contacts,
                std::string* error) {
  const VCardWriter::Version version =
      options.format == Format::kVCard4 ? VCardWriter::kVCard4 : VCardWriter::kVCard3;
  for (const Contact& c : contacts) {
    std::ostringstream card;
    VCardWriter(card, version).Write(c);
    std::string name = VCardWriter::FormattedName(c);
    if (name.empty()) name = "Contact " + std::to_string(c.id);
    if (!folder->Write(folder->Reserve({}, name, ".vcf"), card.str(), LastChange(c), error))
      return false;
  }
  return true;
}

bool WriteJsonWithPhotos(OutputFolder* folder, const std::vector<Contact>& contacts,
                         std::string* error) {
  std::vector<std::string> paths(contacts.size());
  for (size_t i = 0; i < contacts.size(); ++i) {
    const Contact& c = contacts[i];
    if (!c.photo) continue;
    paths[i] =
        folder->Reserve({kPhotoFolder}, std::to_string(c.id), "." + PhotoExtension(*c.photo));
    if (!folder->Write(paths[i], c.photo->data, LastChange(c), error)) return false;
  }
  std::ostringstream document;
  JsonWriter::WriteContacts(document, contacts, &paths);
  return folder->Write(folder->Reserve({}, "contacts", ".json"), document.str(), kUnknownDate,
                       error);
}

}  // namespace

bool WritesContactFiles(const Options& options, const std::vector<Contact>& contacts) {
  if (options.kind != kVeldrakeContacts) return false;
  if (options.split) return true;
  if (options.format != Format::kContactsJson) return false;
  for (const Contact& c : contacts)
    if (c.photo) return true;
  return false;
}

bool WriteContactFiles(const std::string& path, const Options& options,
                       const std::vector<Contact>& contacts, std::string* error) {
  OutputFolder folder;
  if (!folder.Open(path, error)) return false;
  const bool written = options.split ? WriteCards(&folder, options, contacts, error)
                                     : WriteJsonWithPhotos(&folder, contacts, error);
  return written && folder.Commit(error);
}

}  // namespace host
