// Contacts rendered into one document as they arrive.
#include "ContactDocument.h"

#include <new>

#include "CsvWriter.h"
#include "GoogleCsvWriter.h"
#include "OutlookCsvWriter.h"

namespace host {

ContactDocument::ContactDocument(std::ostream& out, Format format, bool bom, std::FILE* spool)
    : out_(out), format_(format), bom_(bom) {
  if (format == Format::kCsv || format == Format::kGoogleCsv) {
    table_.reset(new ContactTable(
        format == Format::kCsv ? CsvWriter::Layout() : GoogleCsvWriter::Layout(), spool));
    return;
  }
  if (spool != nullptr) std::fclose(spool);
  if (format == Format::kContactsJson) json_.reset(new JsonWriter::ContactArray(out));
  if (format == Format::kVCard3 || format == Format::kVCard4)
    vcard_.reset(new VCardWriter(
        out, format == Format::kVCard4 ? VCardWriter::kVCard4 : VCardWriter::kVCard3, true));
}

bool ContactDocument::NeedsSpool(Format format) {
  return format == Format::kCsv || format == Format::kGoogleCsv;
}

// Outlook's header, before the first row or alone.
void ContactDocument::Start() {
  if (started_ || format_ != Format::kOutlookCsv) return;
  started_ = true;
  CsvWriter::StartTable(out_, bom_);
  CsvWriter::Row(out_, OutlookCsvWriter::Header());
}

bool ContactDocument::Add(const Contact& contact, const std::string* photoPath,
                          std::string* error) {
  if (table_) return table_->Add(contact, error);
  if (json_) json_->Add(contact, photoPath);
  if (vcard_) vcard_->Write(contact);
  if (format_ == Format::kOutlookCsv) {
    Start();
    OutlookCsvWriter::Row(out_, contact);
  }
  return true;
}

bool ContactDocument::End(std::string* error) {
  if (table_) return table_->Finish(out_, bom_, error);
  if (json_) json_->End();
  if (vcard_) {
    try {
      vcard_->Finish();
    } catch (const std::bad_alloc&) {
      *error = "out of memory while encoding a photo";
      return false;
    }
  }
  Start();
  return true;
}

}  // namespace host
