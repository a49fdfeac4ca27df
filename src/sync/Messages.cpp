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

void AppendElements(SyncMessage m, std::string& out) {
  switch (m) {
    case SyncMessage::M1:
      Append(out, kVersionExchange);
      Append(out, kVersionsOk);
      Append(out, kInteger100);
      return;
    case SyncMessage::M2:
      Append(out, kVersionExchange);
      Append(out, kVersionsOk);
      return;
    case SyncMessage::M3:
      Append(out, kSyncDataClass);
      Append(out, kContacts);
      Append(out, kNoAnchor);
      Append(out, kEarlyDate);
      Append(out, kInteger106);
      Append(out, kEmptyParameter);
      return;
    case SyncMessage::M4:
      Append(out, kSyncDataClass);
      Append(out, kContacts);
      Append(out, kNoAnchor);
      Append(out, kLateDate);
      Append(out, kInteger800);
      Append(out, kEmptyParameter);
      return;
    case SyncMessage::M5:
      Append(out, kSyncDataClass);
      Append(out, kNotes);
      Append(out, kNotesAnchor);
      Append(out, kEarlyDate);
      Append(out, kInteger102);
      Append(out, kEmptyParameter);
      return;
    case SyncMessage::M6:
      Append(out, kGetAllRecords);
      Append(out, kContacts);
      return;
    case SyncMessage::M7:
      Append(out, kGetAllRecords);
      Append(out, kNotes);
      return;
    case SyncMessage::M8:
      Append(out, kAcknowledge);
      Append(out, kNotes);
      return;
    case SyncMessage::M9:
      Append(out, kFinishSession);
      Append(out, kContacts);
      return;
    case SyncMessage::M10:
      Append(out, kFinishSession);
      Append(out, kNotes);
      return;
    case SyncMessage::M11:
      Append(out, kDisconnect);
      Append(out, kGoodbye);
      return;
  }
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
