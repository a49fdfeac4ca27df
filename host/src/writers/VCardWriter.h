// VCardWriter: contacts as vCard 3.0 (the form Apple's address book exports) or 4.0.
//
// Lines end in CRLF and are folded at 75 octets without splitting a UTF-8 sequence;
// every value is backslash-escaped (backslash, comma, semicolon, line break). Standard
// labels become TYPE parameters where vCard has one; any other label (and every label of
// a date, related name or other item) goes into an item group's X-ABLabel. Items the
// device sent without a value are left out. Items of kind 0 ("other") are written as
// X-VELDRAKE-OTHER. A backup's groups become CATEGORIES, the photo PHOTO (base64 inline in
// 3.0, a data: URI in 4.0, with the phone's X-ABCROP-RECTANGLE), the last change REV.
//
// Ownership: writes to a stream the caller owns. Thread contract: one writer per thread.
#ifndef VELDRAKE_HOST_VCARDWRITER_H_
#define VELDRAKE_HOST_VCARDWRITER_H_

#include <ostream>
#include <string>

#include "Records.h"

namespace host {

class VCardWriter {
 public:
  enum Version { kVCard3, kVCard4 };

  VCardWriter(std::ostream& out, Version version) : out_(out), version_(version) {}

  // Writes one BEGIN:VCARD ... END:VCARD block.
  void Write(const Contact& contact);

  // Folds one unfolded content line and ends it (and each continuation) with CRLF.
  static std::string Fold(const std::string& line);
  // The same appended to *out.
  static void FoldInto(const std::string& line, std::string* out);
  // The name a card shows (FN): the name's parts, else the company, else the nickname.
  static std::string FormattedName(const Contact& contact);
  // Backslash-escapes a text value (or one component of a structured value).
  static std::string Escape(const std::string& text);

 private:
  struct Line;
  // The line's group, name and parameters up to its colon, into line_.
  void StartLine(const Line& line);
  // The whole line, folded, into the card.
  void Emit(const Line& line);
  void WritePhoto(const Photo& photo);
  void WriteField(const Field& field, int* group);
  // A date item's line; true when its label goes into an X-ABLabel.
  bool DateLine(const std::string& label, const std::string& value, Line* line);
  void WriteAddress(const Address& address, int* group);
  // What only a backup gives: CATEGORIES, PHOTO (with the phone's crop) and REV.
  void WriteDetails(const Contact& contact);

  std::ostream& out_;
  Version version_;
  bool anniversaryWritten_ = false;  // vCard 4.0 allows one ANNIVERSARY per card
  std::string line_;                 // the unfolded line being made
  std::string card_;                 // the card so far, folded; written whole at its end
};

}  // namespace host

#endif  // VELDRAKE_HOST_VCARDWRITER_H_
