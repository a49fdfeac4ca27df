// ContactDocument: contacts one after another in one document (standard output, one file
// or one file of a folder), each rendered as it arrives so that one person (one photo) is
// in memory at a time (two with vCard, whose picture lines are partly made on a second
// thread: VCardWriter's overlap). vCard, JSON and Outlook's fixed columns go straight out;
// our own and Google's tables size their numbered columns from every contact, so their
// rows wait, without photos, in a private temporary (ContactTable) until End.
//
// Ownership: borrows the stream; owns the temporary. Thread contract: one thread (the
// vCard writer keeps its second thread to itself).
#ifndef VELDRAKE_HOST_CONTACTDOCUMENT_H_
#define VELDRAKE_HOST_CONTACTDOCUMENT_H_

#include <cstdio>
#include <memory>
#include <ostream>
#include <string>

#include "ContactTable.h"
#include "Formats.h"
#include "JsonWriter.h"
#include "Records.h"
#include "VCardWriter.h"

namespace host {

class ContactDocument {
 public:
  // `spool`: a private temporary opened for update, taken over (needed by kCsv and
  // kGoogleCsv only; null there makes Add fail).
  ContactDocument(std::ostream& out, Format format, bool bom, std::FILE* spool);
  ContactDocument(const ContactDocument&) = delete;
  ContactDocument& operator=(const ContactDocument&) = delete;

  // Whether `format` keeps its rows until End.
  static bool NeedsSpool(Format format);

  // `photoPath` (JSON): the photo is a file of its own at that path. False with *error.
  bool Add(const Contact& contact, const std::string* photoPath, std::string* error);
  // The document's end (a table: all of it); false with *error.
  bool End(std::string* error);

 private:
  void Start();

  std::ostream& out_;
  Format format_;
  bool bom_;
  bool started_ = false;
  std::unique_ptr<ContactTable> table_;
  std::unique_ptr<JsonWriter::ContactArray> json_;
  std::unique_ptr<VCardWriter> vcard_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_CONTACTDOCUMENT_H_
