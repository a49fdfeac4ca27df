// The constant messages, checked against the catalogue written out independently here:
// each element as its text or number, the envelope as literal text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Messages.h"

namespace {

struct Expected {
  SyncMessage message;
  size_t length;
  std::vector<std::string> elements;  // "s:text" for a string, "i:number" for an integer
};

const std::vector<Expected>& Catalogue() {
  static const std::vector<Expected> table = {
      {SyncMessage::M1, 276, {"s:DLMessageVersionExchange", "s:DLVersionsOk", "i:100"}},
      {SyncMessage::M2, 254, {"s:DLMessageVersionExchange", "s:DLVersionsOk"}},
      {SyncMessage::M3,
       390,
       {"s:SDMessageSyncDataClassWithDevice", "s:com.apple.Contacts", "s:---",
        "s:2014-06-23T07:24:55Z", "i:106", "s:___EmptyParameterString___"}},
      {SyncMessage::M4,
       390,
       {"s:SDMessageSyncDataClassWithDevice", "s:com.apple.Contacts", "s:---",
        "s:2014-09-15T15:00:00Z", "i:800", "s:___EmptyParameterString___"}},
      {SyncMessage::M5,
       403,
       {"s:SDMessageSyncDataClassWithDevice", "s:com.apple.Notes", "s:Notes-Device-Anchor",
        "s:2014-06-23T07:24:55Z", "i:102", "s:___EmptyParameterString___"}},
      {SyncMessage::M6, 268, {"s:SDMessageGetAllRecordsFromDevice", "s:com.apple.Contacts"}},
      {SyncMessage::M7, 265, {"s:SDMessageGetAllRecordsFromDevice", "s:com.apple.Notes"}},
      {SyncMessage::M8, 270, {"s:SDMessageAcknowledgeChangesFromDevice", "s:com.apple.Notes"}},
      {SyncMessage::M9, 266, {"s:SDMessageFinishSessionOnDevice", "s:com.apple.Contacts"}},
      {SyncMessage::M10, 263, {"s:SDMessageFinishSessionOnDevice", "s:com.apple.Notes"}},
      {SyncMessage::M11, 244, {"s:DLMessageDisconnect", "s:Goodbye"}},
  };
  return table;
}

std::string Envelope(const std::vector<std::string>& elements) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"
      "<plist version=\"1.0\"><array>";
  for (const std::string& e : elements) {
    const std::string body = e.substr(2);
    text += e[0] == 's' ? "<string>" + body + "</string>" : "<integer>" + body + "</integer>";
  }
  return text + "</array></plist>";
}

TEST(Messages, EachMatchesTheCatalogueByteForByte) {
  for (const Expected& e : Catalogue()) {
    std::string built;
    BuildMessage(e.message, built);
    SCOPED_TRACE(static_cast<int>(e.message) + 1);
    EXPECT_EQ(built.size(), e.length);
    EXPECT_EQ(built, Envelope(e.elements));
  }
}

TEST(Messages, BuildingEmptiesTheWorkingStringFirst) {
  std::string built = "left over from an earlier message";
  BuildMessage(SyncMessage::M2, built);
  EXPECT_EQ(built.size(), 254u);
  EXPECT_EQ(built.rfind("<?xml", 0), 0u);
  EXPECT_EQ(built.back(), '>');  // no terminator, no line break
}

}  // namespace
