// The device's standard labels and what they become in each format.
#include "Labels.h"

#include <map>

#include "Records.h"

namespace host {
namespace {

const char kOpen[] = "_$!<";
const char kClose[] = ">!$_";

using Table = std::map<std::string, std::vector<std::string>>;

// "iPhone" is a plain label on the device, yet Apple's exports give it a TYPE of its own.
const Table& PhoneTypes() {
  static const Table table = {
      {"_$!<Mobile>!$_", {"CELL"}},         {"iPhone", {"IPHONE"}},
      {"_$!<Home>!$_", {"HOME"}},           {"_$!<Work>!$_", {"WORK"}},
      {"_$!<Main>!$_", {"MAIN"}},           {"_$!<HomeFAX>!$_", {"HOME", "FAX"}},
      {"_$!<WorkFAX>!$_", {"WORK", "FAX"}}, {"_$!<OtherFAX>!$_", {"OTHER", "FAX"}},
      {"_$!<Pager>!$_", {"PAGER"}},         {"_$!<Other>!$_", {"OTHER"}},
  };
  return table;
}

const Table& PlaceTypes() {
  static const Table table = {
      {"_$!<Home>!$_", {"HOME"}}, {"_$!<Work>!$_", {"WORK"}}, {"_$!<Other>!$_", {"OTHER"}}};
  return table;
}

}  // namespace

bool IsStandardLabel(const std::string& label) {
  const size_t n = sizeof kOpen - 1;
  return label.size() > 2 * n && label.compare(0, n, kOpen) == 0 &&
         label.compare(label.size() - n, n, kClose) == 0;
}

std::string DisplayLabel(const std::string& label) {
  if (!IsStandardLabel(label)) return label;
  const size_t n = sizeof kOpen - 1;
  return label.substr(n, label.size() - 2 * n);
}

std::vector<std::string> VCardTypes(int kind, const std::string& label) {
  const Table* table = nullptr;
  switch (kind) {
    case QX::kFieldPhone:
      table = &PhoneTypes();
      break;
    case QX::kFieldEmail:
    case QX::kFieldUrl:  // a home page keeps its X-ABLabel, as Apple's exports do
    case kAddressKind:
      table = &PlaceTypes();
      break;
    default:
      return {};
  }
  auto found = table->find(label);
  return found == table->end() ? std::vector<std::string>{} : found->second;
}

}  // namespace host
