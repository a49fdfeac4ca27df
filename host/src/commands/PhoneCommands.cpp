// The subcommands devices, pair and enable-sync.
#include "PhoneCommands.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <vector>

#include "ExitCodes.h"
#include "Messages.h"
#include "Phones.h"

namespace host {
namespace {

const char kDeviceHelp[] = "the phone: usb (the one attached) or usb:UDID";
const char* const kHeader[] = {"UDID", "NAME",    "MODEL",       "VERSION",
                               "LINK", "TRUSTED", "CONTACT SYNC"};
const size_t kColumns = sizeof kHeader / sizeof kHeader[0];
const char kGap[] = "  ";

// Characters, not bytes, so that names in any script line up.
size_t Width(const std::string& text) {
  size_t width = 0;
  for (char c : text) width += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return width;
}

const char* TriState(int value, const char* yes, const char* no) {
  return value == MDPHONE_YES ? yes : value == MDPHONE_NO ? no : "unknown";
}

// A phone that does not trust this computer may keep some values back.
std::string Text(const char* value) {
  return value[0] != '\0' ? value : "-";
}

std::vector<std::string> Row(const mdphone_info& phone) {
  return {phone.udid,
          Text(phone.name),
          Text(phone.model),
          Text(phone.version),
          phone.network == MDPHONE_YES ? "network" : "usb",
          TriState(phone.trusted, "yes", "no"),
          TriState(phone.contacts_sync, "on", "off")};
}

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths(kColumns, 0);
  for (const auto& row : rows)
    for (size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], Width(row[i]));
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < kColumns; ++i) {
      line += row[i];
      if (i + 1 < kColumns) line += std::string(widths[i] - Width(row[i]), ' ') + kGap;
    }
    std::printf("%s\n", line.c_str());
  }
}

// The exit status for a failed operation, with its line said.
int Failed(int code) {
  PhoneFailure failure;
  if (!DescribePhoneError(code, &failure)) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", static_cast<unsigned>(code));
    failure = {kExitPlatform, std::string("the phone failed with platform code ") + hex};
  }
  Say(failure.message);
  return failure.status;
}

// The phone's name and UDID into *label: 0, or the code that says why there is none.
int Locate(const std::string& udid, std::string* label) {
  mdphone_info phone{};
  const int found = LocatePhone(udid, &phone);
  if (found == 0) *label = PhoneLabel(phone);
  return found;
}

std::string ExportHint(const std::string& device) {
  return "export with `veldrake contacts" + (device.empty() ? "" : " --device " + device) + "`";
}

int Devices() {
  std::vector<mdphone_info> phones;
  const int result = ListPhones(&phones);
  if (result != 0) return Failed(result);
  if (phones.empty()) return Failed(MDPHONE_ERR_NO_DEVICE);
  std::vector<std::vector<std::string>> rows{{std::begin(kHeader), std::end(kHeader)}};
  for (const mdphone_info& phone : phones) rows.push_back(Row(phone));
  PrintTable(rows);
  return kExitOk;
}

int Pair(const std::string& device) {
  const std::string udid = PhoneUdid(device);
  std::string label;
  const int found = Locate(udid, &label);
  if (found != 0) return Failed(found);
  Say("asking " + label + " to trust this computer: unlock it and tap Trust when it asks");
  const int result = mdphone_pair(udid.empty() ? nullptr : udid.c_str());
  if (result == MDPHONE_ALREADY_PAIRED) {
    Say(label + " is already paired: it trusts this computer; " + ExportHint(device));
    return kExitOk;
  }
  if (result != 0) return Failed(result);
  Say("paired: the phone trusts this computer; " + ExportHint(device));
  return kExitOk;
}

int EnableSync(const std::string& device) {
  const std::string udid = PhoneUdid(device);
  std::string label;
  const int found = Locate(udid, &label);
  if (found != 0) return Failed(found);
  Say("turning on contact sync with a computer on " + label +
      ": this changes a setting on your phone");
  const int result = mdphone_enable_contact_sync(udid.empty() ? nullptr : udid.c_str());
  if (result != 0) return Failed(result);
  Say("contact sync with a computer is on");
  return kExitOk;
}

}  // namespace

void AddPhoneCommands(CLI::App& app, PhoneRequest* request,
                      const std::function<std::string(const std::string&)>& checkDevice) {
  const auto add = [&app, request](const char* name, const char* help,
                                   PhoneRequest::Command command) {
    CLI::App* sub = app.add_subcommand(name, help);
    sub->callback([request, command] { request->command = command; });
    return sub;
  };
  add("devices", "list the attached phones: trusted or not, contact sync with a computer on/off",
      PhoneRequest::kDevices);
  CLI::App* pair = add("pair", "ask a phone to trust this computer", PhoneRequest::kPair);
  CLI::App* enableSync =
      add("enable-sync", "turn contact sync with a computer on (changes a setting on the phone)",
          PhoneRequest::kEnableSync);
  for (CLI::App* command : {pair, enableSync})
    command->add_option("--device", request->device, kDeviceHelp)
        ->check([checkDevice](const std::string& value) {
          return IsPhoneEndpoint(value) ? checkDevice(value) : std::string("not usb or usb:UDID");
        });
}

int RunPhoneCommand(const PhoneRequest& request) {
  switch (request.command) {
    case PhoneRequest::kDevices:
      return Devices();
    case PhoneRequest::kPair:
      return Pair(request.device);
    case PhoneRequest::kEnableSync:
      return EnableSync(request.device);
    default:
      return kExitUsage;
  }
}

}  // namespace host
