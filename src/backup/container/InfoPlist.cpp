// Info.plist through libplist's XML reader.
#include "InfoPlist.h"

#include <plist/plist.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "BackupFolder.h"
#include "prop/mg_gmtime64_s.h"

namespace veldrake::backup {
namespace {

// Info.plist carries the phone's installed applications too, but no icons.
constexpr size_t kInfoLimit = 16u << 20;
// A phone's Info.plist nests four or five levels; libplist's reader and its free recurse
// once per level, so a hostile file a million levels deep would exhaust the stack.
constexpr int kMaxNesting = 64;

bool StartsWith(const std::string& text, size_t at, const char* word) {
  return text.compare(at, std::strlen(word), word) == 0;
}

// The nesting of <array> and <dict> elements: at most `limit` levels. Counted on the
// raw text, so a tag inside a comment counts too, which only errs towards refusing.
bool NestsWithin(const std::string& xml, int limit) {
  int depth = 0;
  for (size_t at = xml.find('<'); at != std::string::npos; at = xml.find('<', at + 1)) {
    if (StartsWith(xml, at, "</array") || StartsWith(xml, at, "</dict")) {
      --depth;
      continue;
    }
    if (!StartsWith(xml, at, "<array") && !StartsWith(xml, at, "<dict")) continue;
    const size_t end = xml.find('>', at);
    if (end == std::string::npos) return false;
    if (xml[end - 1] != '/' && ++depth > limit) return false;
  }
  return true;
}

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};

std::string String(plist_t dict, const char* key) {
  plist_t node = plist_dict_get_item(dict, key);
  if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return "";
  char* value = nullptr;
  plist_get_string_val(node, &value);
  std::string text = value != nullptr ? value : "";
  free(value);
  return text;
}

// The first of two keys that holds a text.
std::string Either(plist_t dict, const char* key, const char* other) {
  std::string text = String(dict, key);
  return text.empty() ? String(dict, other) : text;
}

}  // namespace

InfoRead ReadInfoPlist(const std::string& path, InfoValues* out) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0)
    return errno == ENOENT ? InfoRead::kMissing : InfoRead::kNotAFile;
  if (!S_ISREG(st.st_mode)) return InfoRead::kNotAFile;
  if (static_cast<uintmax_t>(st.st_size) > kInfoLimit) return InfoRead::kTooLarge;
  std::string xml;
  if (!ReadSmallFile(path, kInfoLimit, &xml)) return InfoRead::kNotAFile;
  if (!NestsWithin(xml, kMaxNesting)) return InfoRead::kTooDeep;
  plist_t raw = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &raw);
  std::unique_ptr<void, PlistFree> root(raw);
  if (!root || plist_get_node_type(raw) != PLIST_DICT) return InfoRead::kDamaged;
  out->udid = Either(raw, "Unique Identifier", "Target Identifier");
  out->name = Either(raw, "Device Name", "Display Name");
  out->version = String(raw, "Product Version");
  plist_t date = plist_dict_get_item(raw, "Last Backup Date");
  if (date != nullptr && plist_get_node_type(date) == PLIST_DATE) {
    int32_t seconds = 0, micros = 0;
    plist_get_date_val(date, &seconds, &micros);
    out->date = static_cast<int64_t>(seconds) + static_cast<int64_t>(kSecondsFrom1970To2001);
  }
  return InfoRead::kOk;
}

const char* DescribeInfoRead(InfoRead read) {
  switch (read) {
    case InfoRead::kNotAFile:
      return "not a plain file (a link, a folder or unreadable)";
    case InfoRead::kTooLarge:
      return "larger than any phone's";
    case InfoRead::kTooDeep:
      return "nested too deep";
    case InfoRead::kDamaged:
      return "damaged: no XML property list of a dictionary";
    default:
      return "";
  }
}

}  // namespace veldrake::backup
