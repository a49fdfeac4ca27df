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

bool Counted(Budget* budget, uint64_t rendered, uint64_t written, std::string* error) {
  if (budget->AddRendered(rendered) && budget->AddWritten(written)) return true;
  *error = budget->error();
  return false;
}

}  // namespace

bool WriteCard(OutputFolder* folder, const Options& options, const Contact& contact, Budget* budget,
               std::string* error) {
  const VCardWriter::Version version =
      options.format == Format::kVCard4 ? VCardWriter::kVCard4 : VCardWriter::kVCard3;
  std::ostringstream card;
  VCardWriter(card, version).Write(contact);
  const std::string text = card.str();
  if (!Counted(budget, text.size(), text.size(), error)) return false;
  std::string name = VCardWriter::FormattedName(contact);
  if (name.empty()) name = "Contact " + std::to_string(contact.id);
  return folder->Write(folder->Reserve({}, name, ".vcf"), text, LastChange(contact), error);
}

bool WritePhotoFile(OutputFolder* folder, const Contact& contact, Budget* budget, std::string* path,
                    std::string* error) {
  path->clear();
  if (!contact.photo) return true;
  if (!Counted(budget, 0, contact.photo->data.size(), error)) return false;
  *path = folder->Reserve({kPhotoFolder}, std::to_string(contact.id),
                          "." + PhotoExtension(*contact.photo));
  return folder->Write(*path, contact.photo->data, LastChange(contact), error);
}

}  // namespace host
