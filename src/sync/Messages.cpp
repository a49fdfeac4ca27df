// The eleven constant messages of the sync conversation. Each is appended piece by piece
// with the piece's own length; the lengths are checked at compile time so that a typo in
// a piece cannot silently change a frame's length field.
#include "Messages.h"

#include <cstddef>

namespace {

struct Piece {
  const char* text;
  size_t length;
};

#define VELDRAKE_PIECE(name, literal, bytes)             \
  constexpr Piece name = {literal, sizeof(literal) - 1}; \
  static_assert(sizeof(literal) - 1 == (bytes), "piece length of " #name)

// Envelope.
VELDRAKE_PIECE(kXmlDeclaration, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>", 38);
VELDRAKE_PIECE(kDoctype,
               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">",
               102);
VELDRAKE_PIECE(kPlistOpen, "<plist version=\"1.0\">", 21);
VELDRAKE_PIECE(kArrayOpen, "<array>", 7);
VELDRAKE_PIECE(kArrayClose, "</array>", 8);
VELDRAKE_PIECE(kPlistClose, "</plist>", 8);

// Elements.
VELDRAKE_PIECE(kVersionExchange, "<string>DLMessageVersionExchange</string>", 41);
VELDRAKE_PIECE(kVersionsOk, "<string>DLVersionsOk</string>", 29);
VELDRAKE_PIECE(kInteger100, "<integer>100</integer>", 22);
VELDRAKE_PIECE(kSyncDataClass, "<string>SDMessageSyncDataClassWithDevice</string>", 49);
VELDRAKE_PIECE(kContacts, "<string>com.apple.Contacts</string>", 35);
VELDRAKE_PIECE(kNotes, "<string>com.apple.Notes</string>", 32);
VELDRAKE_PIECE(kNoAnchor, "<string>---</string>", 20);
VELDRAKE_PIECE(kNotesAnchor, "<string>Notes-Device-Anchor</string>", 36);
VELDRAKE_PIECE(kEarlyDate, "<string>2014-06-23T07:24:55Z</string>", 37);
VELDRAKE_PIECE(kLateDate, "<string>2014-09-15T15:00:00Z</string>", 37);
VELDRAKE_PIECE(kInteger102, "<integer>102</integer>", 22);
VELDRAKE_PIECE(kInteger106, "<integer>106</integer>", 22);
VELDRAKE_PIECE(kInteger800, "<integer>800</integer>", 22);
VELDRAKE_PIECE(kEmptyParameter, "<string>___EmptyParameterString___</string>", 43);
VELDRAKE_PIECE(kGetAllRecords, "<string>SDMessageGetAllRecordsFromDevice</string>", 49);
VELDRAKE_PIECE(kAcknowledge, "<string>SDMessageAcknowledgeChangesFromDevice</string>", 54);
VELDRAKE_PIECE(kFinishSession, "<string>SDMessageFinishSessionOnDevice</string>", 47);
VELDRAKE_PIECE(kDisconnect, "<string>DLMessageDisconnect</string>", 36);
VELDRAKE_PIECE(kGoodbye, "<string>Goodbye</string>", 24);

#undef VELDRAKE_PIECE

void Append(std::string& out, const Piece& piece) {
  out.append(piece.text, piece.length);
}

// The elements of each message, in the order of SyncMessage; unused places stay null.
const size_t kMaxElements = 6;
const Piece* const kElements[][kMaxElements] = {
    /* M1 */ {&kVersionExchange, &kVersionsOk, &kInteger100},
    /* M2 */ {&kVersionExchange, &kVersionsOk},
    /* M3 */ {&kSyncDataClass, &kContacts, &kNoAnchor, &kEarlyDate, &kInteger106, &kEmptyParameter},
    /* M4 */ {&kSyncDataClass, &kContacts, &kNoAnchor, &kLateDate, &kInteger800, &kEmptyParameter},
    /* M5 */ {&kSyncDataClass, &kNotes, &kNotesAnchor, &kEarlyDate, &kInteger102, &kEmptyParameter},
    /* M6 */ {&kGetAllRecords, &kContacts},
    /* M7 */ {&kGetAllRecords, &kNotes},
    /* M8 */ {&kAcknowledge, &kNotes},
    /* M9 */ {&kFinishSession, &kContacts},
    /* M10 */ {&kFinishSession, &kNotes},
    /* M11 */ {&kDisconnect, &kGoodbye},
};
static_assert(sizeof kElements / sizeof kElements[0] == static_cast<size_t>(SyncMessage::M11) + 1,
              "one row of elements per message");

void AppendElements(SyncMessage m, std::string& out) {
  for (const Piece* piece : kElements[static_cast<size_t>(m)])
    if (piece != nullptr) Append(out, *piece);
}

}  // namespace

void BuildMessage(SyncMessage m, std::string& out) {
  out.clear();
  Append(out, kXmlDeclaration);
  Append(out, kDoctype);
  Append(out, kPlistOpen);
  Append(out, kArrayOpen);
  AppendElements(m, out);
  Append(out, kArrayClose);
  Append(out, kPlistClose);
}
