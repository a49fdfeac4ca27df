// RecordStaging: the records of one reply, read before any record is made.
//
// A reply's records are gathered here during the walk over it: for each record its kind,
// its numbers and the texts it will hold, converted and packed into one byte buffer.
// Deliver then makes the records and appends them to the analysis's vectors in the order
// they were staged. The records, which outlive the reply, are thereby made back to back
// once the walk and its temporaries are done, instead of in between the walk's own
// allocations; with hundreds of thousands of records alive, the interleaving spread each
// reply's work over the whole heap.
//
// The rules of which key fills which member, which tags a key takes and which of two
// texts for one member wins are applied here and in Deliver, once for every way in: the
// walk over a reply's bytes (ReplyWalk) and the two record analyses on a decoded
// dictionary behind `pTemp`.
//
// Ownership: holds only copies of text, nothing of a tree or of the reply. Thread
// contract: one thread.
#ifndef VELDRAKE_CONTACTS_RECORDSTAGING_H_
#define VELDRAKE_CONTACTS_RECORDSTAGING_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

class prop;
class PListContactAnalysis;

class RecordStaging {
 public:
  // Room for about `records` records and `textBytes` bytes of text.
  void Reserve(size_t records, size_t textBytes);

  // A value as it lies in a property list's bytes: what the record analyses can take from
  // it. `bytes` holds `count` ASCII bytes or big-endian UTF-16 units.
  struct RawValue {
    enum Kind : uint8_t { Other, Ascii, Unicode, Date } kind = Other;
    const unsigned char* bytes = nullptr;
    size_t count = 0;
    double date = 0;
  };
  // One entry of a record dictionary read from the bytes; entries come in key order, each
  // key once, as in a decoded dictionary.
  struct RawEntry {
    std::wstring_view first;
    RawValue second;
  };

  // A person's dictionary, numbered `id`.
  void StageContact(int32_t id, const std::map<std::wstring, prop>& record);
  void StageContact(int32_t id, const std::vector<RawEntry>& record);
  // A sub-record of the person `owner`, of the device's property number `property`.
  void StageItem(int32_t owner, int32_t property, const std::map<std::wstring, prop>& record);
  void StageItem(int32_t owner, int32_t property, const std::vector<RawEntry>& record);

  // Makes every staged record, appends it to its vector of `into`, and forgets them all.
  void Deliver(PListContactAnalysis& into);

  // The number at the start of a key's piece, as wstrtoi reads it.
  static int32_t KeyNumber(const wchar_t* text, size_t length);

 private:
  enum class Kind : uint8_t { Contact, Field, Address };
  struct Text {
    uint32_t member;  // which member of the record; see the tables in the source
    size_t offset;    // in bytes_
    size_t length;
  };
  struct Record {
    Kind kind;
    int32_t id;
    int32_t property;
    size_t firstText;  // texts_[firstText, next record's firstText)
  };

  // Appends the text of a string (or, when `dateAccepted`, a date) value for `member` of
  // the record staged last; a value of another tag adds nothing.
  void AddText(uint32_t member, const prop& value, bool dateAccepted);
  void AddText(uint32_t member, const RawValue& value, bool dateAccepted);
  template <typename Dict>
  void StageContactEntries(int32_t id, const Dict& record);
  template <typename Dict>
  void StageItemEntries(int32_t owner, int32_t property, const Dict& record);

  std::vector<Record> records_;
  std::vector<Text> texts_;
  std::string bytes_;
  std::wstring wide_;  // a text's units on their way to bytes_
};

#endif  // VELDRAKE_CONTACTS_RECORDSTAGING_H_
