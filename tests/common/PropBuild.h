// Property trees by hand for the record tests: texts as the emulator encodes them, and
// dictionaries/arrays from initializer lists.
#ifndef VELDRAKE_TESTS_COMMON_PROPBUILD_H_
#define VELDRAKE_TESTS_COMMON_PROPBUILD_H_

#include <string>
#include <utility>
#include <vector>

#include "devicesim/BPListWriter.h"
#include "prop/prop.h"

namespace propbuild {

inline prop Str(const std::string& utf8) {
  return devicesim::MakeString(utf8);
}
inline prop Wide(const std::string& utf8) {
  return prop(devicesim::Utf8ToUnits(utf8));
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
  for (auto& entry : entries) map[devicesim::Utf8ToUnits(entry.first)] = entry.second;
  return dict;
}
inline prop Array(std::vector<prop> elements) {
  prop array;
  array.initArray() = std::move(elements);
  return array;
}

}  // namespace propbuild

#endif  // VELDRAKE_TESTS_COMMON_PROPBUILD_H_
