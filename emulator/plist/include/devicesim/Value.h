// Value: the emulator's own property-list value, what its replies are built of.
//
// Deliberately not the library's value model: the device checks the library, so the two
// must not share a notion of what a property list holds. Texts come in the two forms the
// binary format has: one byte per character (written as given) or UTF-16 units.
// Dictionaries keep their keys as UTF-16 units, in the order of those units.
//
// Thread contract: a plain value; copies are independent.
#ifndef DEVICESIM_VALUE_H_
#define DEVICESIM_VALUE_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace devicesim {

class Value;

struct DateValue {
  double seconds = 0;  // since 2001-01-01 UTC
};
struct DataValue {
  std::string bytes;
};
struct UidValue {
  uint64_t id = 0;
};
using ValueArray = std::vector<Value>;
using ValueDict = std::map<std::u16string, Value>;

class Value {
 public:
  // std::monostate is the null object; std::string is the one-byte text form and
  // std::u16string the UTF-16 one.
  using Body = std::variant<std::monostate, bool, int64_t, double, DateValue, DataValue,
                            std::string, std::u16string, UidValue, ValueArray, ValueDict>;

  Value() = default;

  static Value Bool(bool value) { return Value(std::in_place_type<bool>, value); }
  static Value Integer(int64_t value) { return Value(std::in_place_type<int64_t>, value); }
  static Value Real(double value) { return Value(std::in_place_type<double>, value); }
  static Value Date(double seconds) {
    return Value(std::in_place_type<DateValue>, DateValue{seconds});
  }
  static Value Data(std::string bytes) {
    return Value(std::in_place_type<DataValue>, DataValue{std::move(bytes)});
  }
  static Value Ascii(std::string bytes) {
    return Value(std::in_place_type<std::string>, std::move(bytes));
  }
  static Value Utf16(std::u16string units) {
    return Value(std::in_place_type<std::u16string>, std::move(units));
  }
  // The one-byte form when every byte is below 128, otherwise UTF-16.
  static Value Text(const std::string& utf8);
  static Value Uid(uint64_t id) { return Value(std::in_place_type<UidValue>, UidValue{id}); }
  static Value Array(ValueArray elements) {
    return Value(std::in_place_type<ValueArray>, std::move(elements));
  }
  static Value Dict(ValueDict entries) {
    return Value(std::in_place_type<ValueDict>, std::move(entries));
  }

  const Body& body() const { return body_; }

 private:
  template <typename T, typename... Args>
  explicit Value(std::in_place_type_t<T> type, Args&&... args)
      : body_(type, std::forward<Args>(args)...) {}
  Body body_;
};

// UTF-8 text to UTF-16 units (surrogate pairs above U+FFFF). Malformed UTF-8 sequences
// become U+FFFD.
std::u16string Utf8ToUnits(const std::string& utf8);

}  // namespace devicesim

#endif  // DEVICESIM_VALUE_H_
