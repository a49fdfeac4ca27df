// One vCard per person, or a JSON document's photo files, into the export's folder.
#include "ContactFiles.h"

#include <sstream>

#include "Photos.h"
#include "VCardWriter.h"

namespace host {
namespace {

int64_t LastChange(const Contact& c) {
  return c.modified != kUnknownDate ? c.modified : c.created;
}

}  // namespace

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

bool WritePhotoFiles(OutputFolder* folder, const std::vector<Contact>& contacts,
                     std::vector<std::string>* paths, std::string* error) {
  paths->assign(contacts.size(), "");
  for (size_t i = 0; i < contacts.size(); ++i) {
    const Contact& c = contacts[i];
    if (!c.photo) continue;
    (*paths)[i] =
        folder->Reserve({kPhotoFolder}, std::to_string(c.id), "." + PhotoExtension(*c.photo));
    if (!folder->Write((*paths)[i], c.photo->data, LastChange(c), error)) return false;
  }
  return true;
}

}  // namespace host
