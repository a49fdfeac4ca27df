// The backup's property lists.
#include "Plists.h"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <utility>

#include "devicesim/BPListWriter.h"
#include "devicesim/Value.h"

namespace devicesim::backup {
namespace {

const char kSerialNumber[] = "F4GZQ0VELDRK";
const char kManifestVersion[] = "10.0";
const char kStatusVersion[] = "3.3";

struct Model {
  const char* productType;
  const char* buildVersion;
};

// A phone model and build that shipped with (or ran) the version's generation.
Model ModelFor(int major) {
  if (major < 9) return {"iPhone7,2", "12H321"};
  if (major < 15) return {"iPhone10,4", "18G82"};
  return {"iPhone14,5", "21F90"};
}

void Put(plist_t dict, const char* key, const std::string& text) {
  plist_dict_set_item(dict, key, plist_new_string(text.c_str()));
}

ValueDict Lockdown(const BackupOptions& options) {
  const Model model = ModelFor(MajorVersion(options.productVersion));
  ValueDict lockdown;
  lockdown[u"ProductVersion"] = Value::Text(options.productVersion);
  lockdown[u"ProductType"] = Value::Ascii(model.productType);
  lockdown[u"BuildVersion"] = Value::Ascii(model.buildVersion);
  lockdown[u"UniqueDeviceID"] = Value::Text(options.udid);
  lockdown[u"DeviceName"] = Value::Text(options.deviceName);
  lockdown[u"SerialNumber"] = Value::Ascii(kSerialNumber);
  return lockdown;
}

}  // namespace

int MajorVersion(const std::string& productVersion) {
  return std::atoi(productVersion.c_str());
}

std::string InfoPlist(const BackupOptions& options, const BackupStamp& stamp) {
  const Model model = ModelFor(MajorVersion(options.productVersion));
  std::unique_ptr<void, void (*)(plist_t)> dict(plist_new_dict(), plist_free);
  Put(dict.get(), "Build Version", model.buildVersion);
  Put(dict.get(), "Device Name", options.deviceName);
  Put(dict.get(), "Display Name", options.deviceName);
  Put(dict.get(), "GUID", stamp.uuid);
  const double whole = std::floor(stamp.date);
  plist_dict_set_item(dict.get(), "Last Backup Date",
                      plist_new_date(static_cast<int32_t>(whole), 0));
  Put(dict.get(), "Product Name", "iPhone");
  Put(dict.get(), "Product Type", model.productType);
  Put(dict.get(), "Product Version", options.productVersion);
  Put(dict.get(), "Serial Number", kSerialNumber);
  Put(dict.get(), "Target Identifier", options.udid);
  Put(dict.get(), "Target Type", "Device");
  Put(dict.get(), "Unique Identifier", options.udid);
  plist_dict_set_item(dict.get(), "iTunes Version", plist_new_string("12.13"));
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(dict.get(), &xml, &length);
  std::string out(xml != nullptr ? xml : "", length);
  plist_to_xml_free(xml);
  return out;
}

std::string StatusPlist(const BackupStamp& stamp) {
  ValueDict status;
  status[u"BackupState"] = Value::Ascii("new");
  status[u"Date"] = Value::Date(stamp.date);
  status[u"IsFullBackup"] = Value::Bool(false);
  status[u"SnapshotState"] = Value::Ascii("finished");
  status[u"UUID"] = Value::Ascii(stamp.uuid);
  status[u"Version"] = Value::Ascii(kStatusVersion);
  return WriteBinaryPlist(Value::Dict(std::move(status)));
}

std::string ManifestPlist(const BackupOptions& options, const BackupStamp& stamp,
                          const std::string& keybag, const std::string& manifestKey) {
  ValueDict manifest;
  manifest[u"BackupKeyBag"] = Value::Data(keybag);
  manifest[u"IsEncrypted"] = Value::Bool(!manifestKey.empty());
  if (!manifestKey.empty()) manifest[u"ManifestKey"] = Value::Data(manifestKey);
  manifest[u"Lockdown"] = Value::Dict(Lockdown(options));
  manifest[u"Version"] = Value::Ascii(kManifestVersion);
  manifest[u"Date"] = Value::Date(stamp.date);
  manifest[u"WasPasscodeSet"] = Value::Bool(false);
  manifest[u"Applications"] = Value::Dict({});
  return WriteBinaryPlist(Value::Dict(std::move(manifest)));
}

}  // namespace devicesim::backup
