// Property trees by hand for the record tests that hand the analyses a tree directly,
// built with the library's own value API: texts in the form the device sends them (one
// byte per character when ASCII, UTF-16 units otherwise), dictionaries and arrays from
// initializer lists.
#ifndef VELDRAKE_TESTS_COMMON_PROPBUILD_H_
#define VELDRAKE_TESTS_COMMON_PROPBUILD_H_

#include <utf8.h>

#include <string>
#include <utility>
#include <vector>

#include "prop/prop.h"

namespace propbuild {

// UTF-8 to UTF-16 units, one per wchar_t, the form of dictionary keys.
inline std::wstring Units(const std::string& utf8) {
  const std::u16string units = utf8::utf8to16(utf8);
  return std::wstring(units.begin(), units.end());
}
inline prop Wide(const std::string& utf8) {
  return prop(Units(utf8));
}
inline prop Str(const std::string& utf8) {
  for (char c : utf8)
    if (static_cast<unsigned char>(c) >= 128) return Wide(utf8);
  return prop(utf8);
}
inline prop Date(double seconds) {
  return prop::createDate(seconds);
}
inline prop Int(long long value) {
  return prop(value);
}
inline prop Dict(std::vector<std::pair<std::string, prop>> entries) {
  prop dict;
  auto& map = dict.initDict();
  for (auto& entry : entries) map[Units(entry.first)] = entry.second;
  return dict;
}
inline prop Array(std::vector<prop> elements) {
  prop array;
  array.initArray() = std::move(elements);
  return array;
}

}  // namespace propbuild

#endif  // VELDRAKE_TESTS_COMMON_PROPBUILD_H_
