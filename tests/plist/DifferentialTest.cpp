// The reader against an independent writer: Python's plistlib wrote random lists and a
// JSON description of each tree (make_random_plists.py, run at build time).
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "BPListReader/BPListReader.h"

namespace {

using nlohmann::json;

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

uint64_t Bits(double d) {
  uint64_t b;
  std::memcpy(&b, &d, sizeof b);
  return b;
}

std::wstring Units(const json& d) {
  if (d.contains("fill")) return std::wstring(d["n"].get<size_t>(), d["fill"].get<wchar_t>());
  std::wstring out;
  for (const json& u : d["u"]) out.push_back(static_cast<wchar_t>(u.get<unsigned>()));
  return out;
}

// Empty when the value matches the description, else where and what differs.
std::string Compare(const json& d, const prop& p, const std::string& at) {
  const std::string t = d["t"];
  auto tagged = [&](int tag) { return p.hasTag(tag); };
  if (t == "null") return p == prop::Null ? "" : at + ": not null";
  if (t == "bool") return p == (d["v"].get<bool>() ? prop::True : prop::False) ? "" : at + ": bool";
  if (t == "int")
    return tagged(0x10) && p.toInteger() == std::stoll(d["v"].get<std::string>()) ? ""
                                                                                  : at + ": int";
  if (t == "real")
    return tagged(0x20) &&
                   Bits(p._value->real) == std::stoull(d["bits"].get<std::string>(), nullptr, 16)
               ? ""
               : at + ": real";
  if (t == "date")
    return tagged(0x30) &&
                   Bits(p._value->date) == std::stoull(d["bits"].get<std::string>(), nullptr, 16) &&
                   p.toDate() == d["text"].get<std::string>()
               ? ""
               : at + ": date " + (tagged(0x30) ? p.toDate() : "") + " vs " + d["text"].dump();
  if (t == "data") {
    if (!tagged(0x40)) return at + ": not data";
    std::string hex;
    for (unsigned char c : *p._value->bytes)
      hex += "0123456789abcdef"[c >> 4], hex += "0123456789abcdef"[c & 15];
    return hex == d["hex"].get<std::string>() ? "" : at + ": data";
  }
  if (t == "ascii") return tagged(0x50) && p.toString() == Units(d) ? "" : at + ": ascii";
  if (t == "utf16") return tagged(0x60) && p.toString() == Units(d) ? "" : at + ": utf16";
  if (t == "uid")
    return tagged(0x80) && p._value->uid == d["v"].get<uint64_t>() ? "" : at + ": uid";
  if (t == "array") {
    if (!tagged(0xA0) || p._value->array->size() != d["v"].size()) return at + ": array size";
    for (size_t i = 0; i < d["v"].size(); ++i) {
      std::string diff = Compare(d["v"][i], (*p._value->array)[i], at + "/" + std::to_string(i));
      if (!diff.empty()) return diff;
    }
    return "";
  }
  if (t == "dict") {
    if (!tagged(0xD0) || p._value->dict->size() != d["k"].size()) return at + ": dict size";
    for (size_t i = 0; i < d["k"].size(); ++i) {
      const std::wstring key = Units(json{{"u", d["k"][i]}});
      auto found = p._value->dict->find(key);
      if (found == p._value->dict->end()) return at + ": missing key " + std::to_string(i);
      std::string diff = Compare(d["v"][i], found->second, at + "/k" + std::to_string(i));
      if (!diff.empty()) return diff;
    }
    return "";
  }
  return at + ": unknown kind " + t;
}

TEST(BPListDifferential, DecodesEveryListThatPlistlibWrote) {
  std::vector<std::filesystem::path> lists;
  for (const auto& entry : std::filesystem::directory_iterator(VELDRAKE_RANDOM_PLIST_DIR))
    if (entry.path().extension() == ".bplist") lists.push_back(entry.path());
  ASSERT_GE(lists.size(), 100u) << VELDRAKE_RANDOM_PLIST_DIR;
  for (const auto& path : lists) {
    const std::string bytes = ReadFile(path);
    std::filesystem::path described = path;
    const json tree = json::parse(ReadFile(described.replace_extension(".json")));
    BPListReader reader;
    ASSERT_TRUE(reader.open(bytes.data(), bytes.size())) << path;
    EXPECT_EQ(Compare(tree, reader.getRootObject(), path.filename().string()), "");
  }
}

}  // namespace
