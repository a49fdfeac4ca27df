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
// A picture's line is most of an export's work: its base64 and the MD5 its crop carries.
// A writer made with `overlap` has part of it made on a second thread (BackgroundTask)
// while the export goes on: a cropped picture's digest while this thread encodes it, an
// uncropped picture's base64 and fold while this thread reads the people after it. Its
// card and the cards after it are then held back until the next picture, until they pass
// kHeldBack, or until Finish; the bytes are the same as without.
//
// Ownership: writes to a stream the caller owns; with `overlap`, owns a copy of the
// picture being worked on. Thread contract: one writer per thread; the second thread
// touches only the picture's copy and what is made of it, and only between its hand-over
// and the wait.
#ifndef VELDRAKE_HOST_VCARDWRITER_H_
#define VELDRAKE_HOST_VCARDWRITER_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "BackgroundTask.h"

#include "Records.h"

namespace host {

class VCardWriter {
 public:
  enum Version { kVCard3, kVCard4 };

  VCardWriter(std::ostream& out, Version version, bool overlap = false);
  ~VCardWriter();
  VCardWriter(const VCardWriter&) = delete;
  VCardWriter& operator=(const VCardWriter&) = delete;

  // Writes one BEGIN:VCARD ... END:VCARD block (with `overlap`, maybe later).
  void Write(const Contact& contact);
  // Writes what is held back. Throws what making a picture's line threw (std::bad_alloc).
  void Finish();

  // Past this many octets of cards after a picture, the picture's line is waited for.
  static constexpr size_t kHeldBack = 64 * 1024;

  // Folds one unfolded content line and ends it (and each continuation) with CRLF.
  static std::string Fold(const std::string& line);
  // The same appended to *out.
  static void FoldInto(const std::string& line, std::string* out);
  // The most octets a line of `octets` takes folded.
  static size_t FoldedRoom(size_t octets);
  // The name a card shows (FN): the name's parts, else the company, else the nickname.
  static std::string FormattedName(const Contact& contact);
  // Backslash-escapes a text value (or one component of a structured value).
  static std::string Escape(const std::string& text);

 private:
  struct Line {
    std::string group;
    std::string name;
    std::vector<std::pair<std::string, std::vector<std::string>>> params;
    std::string value;  // already escaped
  };
  // The line's group, name and parameters up to its colon, into *out.
  void StartLine(const Line& line, std::string* out) const;
  // The whole line, folded, into the card.
  void Emit(const Line& line);
  // PHOTO's group, name and parameters (with the crop `digest`) up to its value, into *out.
  void StartPhotoLine(const Photo& photo, const std::string& digest, std::string* out) const;
  void WritePhoto(const Photo& photo);
  // With `overlap`: the card so far held back, the picture's copy handed over.
  void HoldBackPhoto(const Photo& photo);
  // The card's end: out, or held back behind a picture's line.
  void EndCard();
  // The held-back picture's line finished and written with what is around it.
  void WriteHeldBack();
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
  // With `overlap`, while a picture's line is being made (held_): the cards before the
  // line, the picture's copy, the unfolded line, where the digest goes in it (npos:
  // nowhere), the digest, the folded line, and the cards after the line.
  bool held_ = false;
  std::string before_, photo_, photoLine_, digest_, folded_, after_;
  size_t digestAt_ = std::string::npos;
  std::unique_ptr<BackgroundTask> task_;  // last: its job ends before the rest goes
};

}  // namespace host

#endif  // VELDRAKE_HOST_VCARDWRITER_H_
