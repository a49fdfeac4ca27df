// Replies that are no usable record batch, for the export loops of both data classes:
// the same bytes must never break either export. `contactsEnd` and `notesEnd` tell
// whether each analysis ends its loop on such a reply (one it reads but finds no records
// in) or the conversation asks again (bytes it cannot read at all). They differ only
// where the two analyses walk the root differently: the contact analysis asks again past
// an array nested in the root, the note analysis ends when no element of the root is a
// dictionary of records.
#ifndef VELDRAKE_TESTS_COMMON_HOSTILEREPLIES_H_
#define VELDRAKE_TESTS_COMMON_HOSTILEREPLIES_H_

#include <string>
#include <vector>

#include "ValueBuild.h"
#include "devicesim/BPListWriter.h"

namespace exportsupport {

struct HostileReply {
  const char* name;
  std::string payload;
  bool contactsEnd, notesEnd;
};

inline std::vector<HostileReply> HostileReplies() {
  using namespace valuebuild;
  const Value record = Dict({{"first name", Str("x")}, {"subject", Str("x")}});
  const Value dictRoot = Dict({{"1", record}});
  const std::string emptyArray = devicesim::WriteBinaryPlist(Array({}));
  return {
      {"text", "<plist>not binary</plist>", false, false},
      {"header only", "bplist00", false, false},
      {"truncated", emptyArray.substr(0, emptyArray.size() - 2), false, false},
      {"nested records", devicesim::WriteBinaryPlist(Array({Array({dictRoot})})), false, true},
      {"null root", devicesim::WriteBinaryPlist(Null), true, true},
      {"dictionary root", devicesim::WriteBinaryPlist(dictRoot), true, true},
      {"empty root array", emptyArray, true, true},
  };
}

}  // namespace exportsupport

#endif  // VELDRAKE_TESTS_COMMON_HOSTILEREPLIES_H_
