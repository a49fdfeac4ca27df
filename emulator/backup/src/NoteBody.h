// NoteBody: a modern note's body as the Notes app stores it: a protobuf document
// (NoteStoreProto > Document > Note: the text and its attribute runs), gzip-compressed.
//
// Each paragraph (with its line break) is one attribute run; the first is styled as the
// title. Run lengths count UTF-16 code units, as the app's text storage does.
//
// Thread contract: pure functions.
#ifndef DEVICESIM_BACKUP_NOTEBODY_H_
#define DEVICESIM_BACKUP_NOTEBODY_H_

#include <string>

namespace devicesim::backup {

// The uncompressed protobuf of a note whose whole text is `text`.
std::string NoteDocument(const std::string& text);
// gzip (with its header, as the app writes ZDATA); false when zlib fails.
bool Gzip(const std::string& in, std::string* out);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEBODY_H_
