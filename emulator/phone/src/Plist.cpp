// libplist helpers: parsing, XML output and typed access to dictionary values.
#include "Plist.h"

#include <cstdlib>

namespace devicesim {
namespace phone {

Plist ParsePlist(const std::string& bytes) {
  plist_t node = nullptr;
  const uint32_t size = static_cast<uint32_t>(bytes.size());
  if (plist_is_binary(bytes.data(), size))
    plist_from_bin(bytes.data(), size, &node);
  else
    plist_from_xml(bytes.data(), size, &node);
  return Plist(node);
}

std::string ToXml(plist_t node) {
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(node, &xml, &length);
  std::string text = xml ? std::string(xml, length) : std::string();
  std::free(xml);
  return text;
}

static plist_t ItemOf(plist_t dict, const char* key, plist_type type) {
  if (!dict || plist_get_node_type(dict) != PLIST_DICT) return nullptr;
  plist_t item = plist_dict_get_item(dict, key);
  return item && plist_get_node_type(item) == type ? item : nullptr;
}

std::optional<std::string> StringAt(plist_t dict, const char* key) {
  plist_t item = ItemOf(dict, key, PLIST_STRING);
  if (!item) return std::nullopt;
  char* value = nullptr;
  plist_get_string_val(item, &value);
  std::string text = value ? value : "";
  std::free(value);
  return text;
}

std::optional<uint64_t> UintAt(plist_t dict, const char* key) {
  plist_t item = ItemOf(dict, key, PLIST_UINT);
  if (!item) return std::nullopt;
  uint64_t value = 0;
  plist_get_uint_val(item, &value);
  return value;
}

std::optional<std::string> DataAt(plist_t dict, const char* key) {
  plist_t item = ItemOf(dict, key, PLIST_DATA);
  if (!item) return std::nullopt;
  char* value = nullptr;
  uint64_t length = 0;
  plist_get_data_val(item, &value, &length);
  std::string bytes = value ? std::string(value, length) : std::string();
  std::free(value);
  return bytes;
}

plist_t DictAt(plist_t dict, const char* key) {
  return ItemOf(dict, key, PLIST_DICT);
}

void SetString(plist_t dict, const char* key, const std::string& value) {
  plist_dict_set_item(dict, key, plist_new_string(value.c_str()));
}

void SetUint(plist_t dict, const char* key, uint64_t value) {
  plist_dict_set_item(dict, key, plist_new_uint(value));
}

void SetBool(plist_t dict, const char* key, bool value) {
  plist_dict_set_item(dict, key, plist_new_bool(value ? 1 : 0));
}

void SetData(plist_t dict, const char* key, const std::string& bytes) {
  plist_dict_set_item(dict, key, plist_new_data(bytes.data(), bytes.size()));
}

void SetNode(plist_t dict, const char* key, Plist node) {
  plist_dict_set_item(dict, key, static_cast<plist_t>(node.release()));
}

}  // namespace phone
}  // namespace devicesim
