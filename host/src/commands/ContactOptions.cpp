// --account's answer when nobody matched, and the sync route's hint about photos.
#include "ContactOptions.h"

#include "Messages.h"

namespace host {

int CheckAccount(const Options& options, const Exporter& exporter) {
  if (options.kind != kVeldrakeContacts || options.account.empty()) return kExitOk;
  if (exporter.accounts().admitted() > 0) return kExitOk;
  Say("--account: nobody is in an account named '" + options.account + "'; " +
      exporter.accounts().Listing());
  return kExitUsage;
}

void SayWhereThePhotosAre(const Options& options) {
  if (options.kind != kVeldrakeContacts || options.quiet) return;
  Say("note: the sync service carries no photos, groups or accounts; an export from a backup "
      "has them (veldrake contacts --backup PATH)");
}

}  // namespace host
