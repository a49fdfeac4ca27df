// Each person's details gathered beside its record.
#include "ContactDetails.h"

#include <memory>
#include <vector>

#include "AddressBook.h"
#include "ContactAccounts.h"
#include "ContactGroups.h"
#include "ContactPhotos.h"
#include "QX/Contact.h"

namespace veldrake::backup {

int DeliverContactDetails(sqlite3* book, sqlite3* images, VeldrakeContactCallback callback,
                          void* context, const Warnings& warnings, std::string* message) {
  const AccountIndex accounts(book, warnings);
  const GroupIndex groups(book, warnings);
  std::unique_ptr<PhotoCursor> photos;
  if (images != nullptr) photos = std::make_unique<PhotoCursor>(images, warnings);
  const auto sink = [&](QX::Contact* contact, const PersonFacts& facts) {
    VeldrakeContactDetails details{};
    details.id = contact->id;
    const Account* account = facts.hasStore ? accounts.Find(facts.store) : nullptr;
    details.account = account != nullptr ? account->name.c_str() : nullptr;
    details.accountType = account != nullptr ? account->type : nullptr;
    const std::vector<const char*>& names = groups.NamesOf(contact->id);
    details.groups = names.empty() ? nullptr : names.data();
    details.groupCount = static_cast<int>(names.size());
    details.created = facts.created;
    details.modified = facts.modified;
    details.photo = photos != nullptr ? photos->Find(contact->id) : nullptr;
    return callback(contact, &details, context);
  };
  return StreamContacts(book, sink, message);
}

}  // namespace veldrake::backup
