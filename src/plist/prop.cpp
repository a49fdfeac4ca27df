// The property-list value model: bodies, static values, construction and conversions.
#include "prop/prop.h"

#include <boost/make_shared.hpp>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

#include "Assert.h"
#include "prop/mg_gmtime64_s.h"

namespace {

// A body together with the container it owns, in the one block that make_shared also
// puts the reference counts in: a string or a container then costs one allocation
// instead of three (counts, body, container). The slot points into the block; the
// destructor clears it first, so that ~object, which deletes a container made on its
// own, leaves this one to the member's destructor.
template <typename Container, Container* prop::object::*Slot>
class BodyWith final : public prop::object {
 public:
  template <typename... Args>
  explicit BodyWith(int32_t tag, Args&&... args)
      : object(TagInteger), storage(std::forward<Args>(args)...) {
    type = tag;
    this->*Slot = &storage;
  }
  ~BodyWith() { this->*Slot = nullptr; }

  Container storage;
};

using BytesBody = BodyWith<std::string, &prop::object::bytes>;
using WideBody = BodyWith<std::wstring, &prop::object::wide>;
using ArrayBody = BodyWith<std::vector<prop>, &prop::object::array>;
using DictBody = BodyWith<std::map<std::wstring, prop>, &prop::object::dict>;

boost::shared_ptr<prop::object> ScalarBody(int32_t tag) {
  return boost::make_shared<prop::object>(tag);
}

}  // namespace

// Null first, then the two booleans: every decoded boolean shares one of these bodies.
const prop prop::Null;
const prop prop::True = [] {
  prop p;
  p._value = ScalarBody(prop::object::TagTrue);
  return p;
}();
const prop prop::False = [] {
  prop p;
  p._value = ScalarBody(prop::object::TagFalse);
  return p;
}();

prop::object::object(int32_t tag) : type(tag), integer(0) {
  switch (type) {
    case TagData:
    case TagAscii:
      bytes = new std::string();
      break;
    case TagUnicode:
      wide = new std::wstring();
      break;
    case TagArray:
      array = new std::vector<prop>();
      break;
    case TagDict:
      dict = new std::map<std::wstring, prop>();
      break;
    default:
      break;
  }
}

prop::object::object(const std::string& text) : type(TagAscii), bytes(new std::string(text)) {}

prop::object::object(const std::wstring& text) : type(TagUnicode), wide(new std::wstring(text)) {}

prop::object::~object() {
  switch (type) {
    case TagData:
    case TagAscii:
      delete bytes;
      break;
    case TagUnicode:
      delete wide;
      break;
    case TagArray:
      delete array;
      break;
    case TagDict:
      delete dict;
      break;
    default:
      break;
  }
}

// The argument is this handle's own copy, so its text moves into the body.
template <>
prop::prop(std::string value)
    : _value(boost::make_shared<BytesBody>(object::TagAscii, std::move(value))) {}

template <>
prop::prop(std::wstring value)
    : _value(boost::make_shared<WideBody>(object::TagUnicode, std::move(value))) {}

template <>
prop::prop(long long value) : _value(ScalarBody(object::TagInteger)) {
  _value->integer = value;
}

template <>
prop::prop(double value) : _value(ScalarBody(object::TagReal)) {
  _value->real = value;
}

prop prop::createDate(double secondsSince2001) {
  prop p;
  p._value = ScalarBody(object::TagDate);
  p._value->date = secondsSince2001;
  return p;
}

std::string& prop::initData() {
  _value = boost::make_shared<BytesBody>(object::TagData);
  return *_value->bytes;
}

void prop::initUID(unsigned long long value) {
  _value = ScalarBody(object::TagUid);
  _value->uid = value;
}

std::vector<prop>& prop::initArray() {
  _value = boost::make_shared<ArrayBody>(object::TagArray);
  return *_value->array;
}

std::map<std::wstring, prop>& prop::initDict() {
  _value = boost::make_shared<DictBody>(object::TagDict);
  return *_value->dict;
}

std::wstring prop::toString() const {
  VELDRAKE_ASSERT(_value);
  if (_value->type == object::TagUnicode) return *_value->wide;
  VELDRAKE_ASSERT(_value->type == object::TagAscii);
  return fromAscii(*_value->bytes);
}

std::string prop::toUTF8String() const {
  VELDRAKE_ASSERT(_value);
  VELDRAKE_ASSERT(_value->type == object::TagAscii);
  return *_value->bytes;
}

long long prop::toInteger() const {
  VELDRAKE_ASSERT(_value);
  VELDRAKE_ASSERT(_value->type == object::TagInteger);
  return _value->integer;
}

std::string prop::toDate() const {
  VELDRAKE_ASSERT(_value);
  VELDRAKE_ASSERT(_value->type == object::TagDate);
  // A device may send NaN (taken as the reference instant itself) or a date far out of
  // range; the cast below must stay defined.
  const double date = std::isnan(_value->date) ? 0.0 : ClampToDateRange(_value->date);
  double t = static_cast<double>(static_cast<long long>(date)) + kSecondsFrom1970To2001;
  struct tm parts;
  mg_gmtime64_s(&parts, &t);
  char buffer[32];
  std::memset(buffer, 0, sizeof buffer);
  std::strftime(buffer, sizeof buffer, "%m-%d-%Y %H:%M:%S", &parts);
  return std::string(buffer);
}

const std::map<std::wstring, prop>* prop::dict() const {
  return hasTag(object::TagDict) ? _value->dict : nullptr;
}

const std::vector<prop>* prop::array() const {
  return hasTag(object::TagArray) ? _value->array : nullptr;
}

const double* prop::date() const {
  return hasTag(object::TagDate) ? &_value->date : nullptr;
}

std::string prop::toUtf8(const std::wstring& wide) {
  std::string text;
  appendUtf8(wide, text);
  return text;
}

void prop::appendUtf8(const std::wstring& wide, std::string& out) {
  const size_t n = wide.size();
  const size_t offset = out.size();
  // Most text is ASCII, which every ASCII-compatible locale's wcstombs writes as the units'
  // own bytes: copied straight, up to a zero unit as wcstombs stops there.
  size_t ascii = 0;
  while (ascii < n && wide[ascii] > 0 && wide[ascii] < 0x80) ++ascii;
  if (ascii == n || wide[ascii] == 0) {
    out.resize(offset + ascii);
    for (size_t i = 0; i < ascii; ++i) out[offset + i] = static_cast<char>(wide[i]);
    return;
  }
  // Join surrogate pairs into code points and replace lone surrogates, so that
  // wcstombs sees characters, not halves of them. Never longer than the input.
  std::wstring joined;
  joined.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const unsigned long unit = static_cast<unsigned long>(wide[i]);
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < n) {
      const unsigned long low = static_cast<unsigned long>(wide[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        joined.push_back(static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00)));
        ++i;
        continue;
      }
    }
    if (unit >= 0xD800 && unit <= 0xDFFF) {
      joined.push_back(static_cast<wchar_t>(0xFFFD));
    } else {
      joined.push_back(wide[i]);
    }
  }
  const size_t capacity = 3 * n + 1;
  // Zero-filled, one byte beyond the limit, so the text stays terminated in any locale;
  // then cut at the first zero byte.
  out.resize(offset + capacity + 1);
  std::wcstombs(&out[offset], joined.c_str(), capacity);
  out.resize(offset + std::strlen(&out[offset]));
}

std::wstring prop::fromAscii(const std::string& ascii) {
  std::wstring wide(ascii.size(), L'\0');
  for (size_t i = 0; i < ascii.size(); ++i) {
    const signed char c = static_cast<signed char>(ascii[i]);
    VELDRAKE_ASSERT(c >= 0 && c <= 127);
    wide[i] = static_cast<wchar_t>(c);
  }
  return wide;
}

namespace veldrake {

char* NewRecordText(const std::string& text) {
  const size_t n = text.size();
  char* copy = new char[n + 1]();
  // A NUL inside the text ends it for the host, which has no length beside the pointer.
  const void* nul = std::memchr(text.data(), 0, n);
  const size_t used = nul ? static_cast<size_t>(static_cast<const char*>(nul) - text.data()) : n;
  std::memcpy(copy, text.data(), used);
  return copy;
}

char* NewRecordText(const prop& value) {
  if (value.hasTag(prop::object::TagUnicode))
    return NewRecordText(prop::toUtf8(*value._value->wide));
  if (value.hasTag(prop::object::TagAscii)) return NewRecordText(*value._value->bytes);
  return nullptr;
}

char* NewRecordTextOrDate(const prop& value) {
  if (value.hasTag(prop::object::TagDate)) return NewRecordText(value.toDate());
  return NewRecordText(value);
}

void StoreRecordText(char*& member, char* text) {
  if (text == nullptr) return;
  delete[] member;
  member = text;
}

}  // namespace veldrake
