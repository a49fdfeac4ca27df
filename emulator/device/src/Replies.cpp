// What the device says: the label of each message it hears and its normal replies.
#include <string>

#include "Catalogue.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Conversation.h"

namespace devicesim {
namespace {

// The protocol version the device answers with, and the anchor number of its sync reply.
const int64_t kDeviceVersion = 300;
const int64_t kSyncAnchorNumber = 106;

Value Ascii(const std::string& text) {
  return Value::Ascii(text);
}

}  // namespace

std::string LabelOf(const std::string& payload) {
  for (int i = 1; i <= kCatalogueSize; ++i)
    if (payload == CatalogueText(i)) return "M" + std::to_string(i);
  return "?";
}

std::string VersionReply() {
  return WriteBinaryPlist(Value::Array(
      {Ascii("DLMessageVersionExchange"), Ascii("DLVersionsOk"), Value::Integer(kDeviceVersion)}));
}

std::string SyncReply(const std::string& dataClass) {
  return WriteBinaryPlist(
      Value::Array({Ascii("SDMessageSyncDataClassWithComputer"), Ascii(dataClass), Ascii("---"),
                    Ascii("Device-Anchor"), Value::Integer(kSyncAnchorNumber),
                    Ascii("___EmptyParameterString___")}));
}

std::string BatchReply(const std::string& dataClass, const Value& batch, bool more) {
  return WriteBinaryPlist(
      Value::Array({Ascii("SDMessageProcessChanges"), Ascii(dataClass), batch, Value::Bool(more)}));
}

std::string EndReply(const std::string& dataClass) {
  return BatchReply(dataClass, Value::Dict({}), false);
}

}  // namespace devicesim
