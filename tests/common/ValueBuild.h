// Device replies by hand for the analysis and export tests: the emulator's own values,
// so the bytes under test come from a writer that shares nothing with the reader.
#ifndef VELDRAKE_TESTS_COMMON_VALUEBUILD_H_
#define VELDRAKE_TESTS_COMMON_VALUEBUILD_H_

#include <string>
#include <utility>
#include <vector>

#include "devicesim/Value.h"

namespace valuebuild {

using devicesim::Value;

inline const Value Null;
inline const Value True = Value::Bool(true);
inline const Value False = Value::Bool(false);

inline Value Str(const std::string& utf8) {
  return Value::Text(utf8);
}
inline Value Wide(const std::string& utf8) {
  return Value::Utf16(devicesim::Utf8ToUnits(utf8));
}
inline Value Date(double seconds) {
  return Value::Date(seconds);
}
inline Value Int(long long value) {
  return Value::Integer(value);
}
inline Value Dict(std::vector<std::pair<std::string, Value>> entries) {
  devicesim::ValueDict dict;
  for (auto& entry : entries) dict[devicesim::Utf8ToUnits(entry.first)] = std::move(entry.second);
  return Value::Dict(std::move(dict));
}
inline Value Array(std::vector<Value> elements) {
  return Value::Array(std::move(elements));
}

}  // namespace valuebuild

#endif  // VELDRAKE_TESTS_COMMON_VALUEBUILD_H_
