// PListContactAnalysis: gathers the contacts of one export from the device's replies and
// delivers them.
//
// Every reply of the contact loop goes through Analysis, which decodes it and hands each
// record dictionary, through the process-wide `pTemp`, to AnalysisContact (a person) or
// AnalysisContactField (a phone number, an address and the like). Nothing is delivered
// until Combinations joins each person to its items by number and lends it to the host's
// callback, one record at a time.
//
// Ownership: the object owns every record in its three vectors. Combinations releases
// what it delivers and, when it ends, every intermediate record and every item that no
// contact took; the destructor releases whatever is still left. Thread contract: one
// export at a time per process, since `pTemp` is process-wide.
#ifndef VELDRAKE_PLISTCONTACTANALYSIS_H_
#define VELDRAKE_PLISTCONTACTANALYSIS_H_

#include <string>
#include <vector>

#include "PListAddress.h"
#include "PListField.h"

namespace QX {
struct Contact;
}

class PListContactAnalysis {
 public:
  PListContactAnalysis() = default;
  ~PListContactAnalysis();

  PListContactAnalysis(const PListContactAnalysis&) = delete;
  PListContactAnalysis& operator=(const PListContactAnalysis&) = delete;

  // What Analysis tells the conversation; every negative result ends its loop.
  enum Result : int {
    kGoOn = 0,           // no binary property list, or its records were gathered
    kNoRoot = -1,        // the root is the null value or no array
    kEmptyRoot = -2,     // the root array is empty
    kEndOfChanges = -3,  // names "SDMessageProcessChanges" and holds no outer dictionary
  };
  // What Combinations gives back.
  enum Delivery : int {
    kDelivered = 0,
    kStopped = -1,  // the host's callback returned kHostStops
  };
  // The callback's answer that stops the delivery; every other answer goes on.
  static constexpr int kHostStops = -1;

  // One reply of `length` bytes (no terminator; the caller keeps it); a Result. A null
  // reply or a negative length is no data (kGoOn).
  int Analysis(char* reply, int length);

  // The person dictionary behind `pTemp`, under `key`. Appends one QX::Contact.
  // Does nothing when `pTemp` is null.
  void AnalysisContact(std::wstring key);

  // The sub-record dictionary behind `pTemp`: `ownerText` names the owning contact,
  // `propertyText` the device's property number. Appends one PListField or, for a postal
  // address, one PListAddress. Does nothing when `pTemp` is null.
  void AnalysisContactField(std::wstring ownerText, std::wstring propertyText);

  // Joins each contact to its items and lends it to `callback` (an int(*)(void*) taking a
  // QX::Contact*), then destroys it. kStopped when the callback stopped it (every
  // remaining record is destroyed), kDelivered otherwise. `unused` plays no part. Runs once per
  // object. REQUIRES: callback is a function whenever there are contacts.
  int Combinations(std::vector<QX::Contact*>& unused, void* callback);

  std::vector<QX::Contact*> contacts;
  std::vector<PListField*> fields;
  std::vector<PListAddress*> addresses;

 private:
  // Releases every intermediate record with the item it still holds.
  void ReleaseItems();
};

#endif  // VELDRAKE_PLISTCONTACTANALYSIS_H_
