// prop: one property-list value, a handle on a shared, reference-counted body.
//
// Copying a prop shares its body; an empty handle is the null value. A body holds a
// type tag (the binary format's marker value) and one 8-byte slot: a scalar, or a
// pointer to a container the body owns. A tree of props owns all its contents and shares
// nothing with the reader or the bytes it was decoded from.
//
// Thread contract: reference counts are atomic; a tree is built and read by one thread.
// Conversions have preconditions on the tag; callers test the tag first (see hasTag).
#ifndef VELDRAKE_PROP_PROP_H_
#define VELDRAKE_PROP_PROP_H_

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "veldrake/Export.h"

class VELDRAKE_INTERNAL prop {
 public:
  class object {
   public:
    enum Tag : int32_t {
      TagFalse = 0x08,
      TagTrue = 0x09,
      TagInteger = 0x10,
      TagReal = 0x20,
      TagDate = 0x30,
      TagData = 0x40,
      TagAscii = 0x50,
      TagUnicode = 0x60,
      TagUid = 0x80,
      TagArray = 0xA0,
      TagDict = 0xD0,
    };

    // A scalar body (booleans, integer, real, date, UID) or an empty container body.
    explicit object(int32_t tag);
    explicit object(const std::string& bytes);  // tag 0x50
    explicit object(const std::wstring& wide);  // tag 0x60
    ~object();  // releases the container that tags 0x40, 0x50, 0x60, 0xA0 and 0xD0 own

    object(const object&) = delete;
    object& operator=(const object&) = delete;

    int32_t type;
    union {
      long long integer;
      double real;
      double date;
      std::string* bytes;
      std::wstring* wide;
      unsigned long long uid;
      std::vector<prop>* array;
      std::map<std::wstring, prop>* dict;
    };
  };

  prop() = default;
  // Defined for std::string (tag 0x50), std::wstring (tag 0x60), long long (tag 0x10)
  // and double (tag 0x20) only.
  template <typename T>
  explicit prop(T value);

  static prop createDate(double secondsSince2001);

  // Each gives this handle a new body of its tag, releasing the body held before.
  std::string& initData();
  void initUID(unsigned long long value);
  std::vector<prop>& initArray();
  std::map<std::wstring, prop>& initDict();

  // REQUIRES: tag 0x60 or 0x50.
  std::wstring toString() const;
  // REQUIRES: tag 0x50. The bytes unchanged.
  std::string toUTF8String() const;
  // REQUIRES: tag 0x10.
  long long toInteger() const;
  // REQUIRES: tag 0x30. "%m-%d-%Y %H:%M:%S" in UTC.
  std::string toDate() const;

  // Wide text (one UTF-16 unit per element) to the multibyte encoding of the process's
  // locale. Surrogate pairs are joined into their code point first and lone surrogates
  // become U+FFFD, so under a UTF-8 locale every character survives. Stops at a zero unit.
  static std::string toUtf8(const std::wstring& wide);
  // The same, appended to `out`.
  static void appendUtf8(const std::wstring& wide, std::string& out);
  // REQUIRES: every byte in 0..127.
  static std::wstring fromAscii(const std::string& ascii);

  // True when the handle holds a body of this tag; false for the null value.
  bool hasTag(int32_t tag) const { return _value && _value->type == tag; }
  // True for a dictionary with at least one entry.
  bool isNonEmptyDict() const { return hasTag(object::TagDict) && !_value->dict->empty(); }

  // The contents of a value of the one tag each names; null for the null value and for a
  // value of any other tag, so a reader of untrusted trees tests the pointer, not the tag.
  const std::map<std::wstring, prop>* dict() const;
  const std::vector<prop>* array() const;
  const double* date() const;

  // Identity, not content: equal when both are empty or both share one body.
  bool operator==(const prop& other) const { return _value == other._value; }
  bool operator!=(const prop& other) const { return _value != other._value; }

  static const prop Null;
  static const prop True;
  static const prop False;

  boost::shared_ptr<object> _value;
};

template <>
prop::prop(std::string value);
template <>
prop::prop(std::wstring value);
template <>
prop::prop(long long value);
template <>
prop::prop(double value);

// The library's own names, which its published interface does not fix.
namespace veldrake {

// Record texts, the texts a host receives: an array-new copy of exactly the text's byte
// length plus one, zero-filled and cut at the text's first NUL, since the host has no
// length beside the pointer.
char* NewRecordText(const std::string& text);
// The record text of a string value (tag 0x60 through toUtf8, tag 0x50 unchanged); null
// for the null value and every other tag.
char* NewRecordText(const prop& value);
// The same, and for a date (tag 0x30) the text of toDate.
char* NewRecordTextOrDate(const prop& value);
// A later text takes the place of an earlier one: `text` goes into `member`, which lets
// go of what it held; null (a value of an unaccepted tag) leaves `member` as it was.
void StoreRecordText(char*& member, char* text);

}  // namespace veldrake

#endif  // VELDRAKE_PROP_PROP_H_
