// The library's messages: one XML property list each, an array of fixed elements, with
// no line breaks and no terminator.
#include "Catalogue.h"

#include <vector>

namespace devicesim {
namespace {

std::string S(const char* text) {
  return std::string("<string>") + text + "</string>";
}
std::string I(const char* number) {
  return std::string("<integer>") + number + "</integer>";
}

std::string Envelope(const std::vector<std::string>& elements) {
  std::string out =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"
      "<plist version=\"1.0\"><array>";
  for (const std::string& element : elements) out += element;
  out += "</array></plist>";
  return out;
}

std::vector<std::string> Build() {
  const std::string version = S("DLMessageVersionExchange"), ok = S("DLVersionsOk");
  const std::string sync = S("SDMessageSyncDataClassWithDevice");
  const std::string contacts = S("com.apple.Contacts"), notes = S("com.apple.Notes");
  const std::string empty = S("___EmptyParameterString___");
  const std::string getAll = S("SDMessageGetAllRecordsFromDevice");
  const std::string finish = S("SDMessageFinishSessionOnDevice");
  return {
      "",
      Envelope({version, ok, I("100")}),
      Envelope({version, ok}),
      Envelope({sync, contacts, S("---"), S("2014-06-23T07:24:55Z"), I("106"), empty}),
      Envelope({sync, contacts, S("---"), S("2014-09-15T15:00:00Z"), I("800"), empty}),
      Envelope({sync, notes, S("Notes-Device-Anchor"), S("2014-06-23T07:24:55Z"), I("102"), empty}),
      Envelope({getAll, contacts}),
      Envelope({getAll, notes}),
      Envelope({S("SDMessageAcknowledgeChangesFromDevice"), notes}),
      Envelope({finish, contacts}),
      Envelope({finish, notes}),
      Envelope({S("DLMessageDisconnect"), S("Goodbye")}),
  };
}

}  // namespace

const std::string& CatalogueText(int index) {
  static const std::vector<std::string> texts = Build();
  return texts.at(static_cast<size_t>(index));
}

}  // namespace devicesim
