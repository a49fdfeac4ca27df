// PListField: a finished QX::ContactField tied to the number of the contact that owns it,
// from its analysis until the join at delivery.
//
// Ownership: `field` belongs to this record until the join moves it into a contact; the
// join then clears `field`. The record itself belongs to PListContactAnalysis. One thread.
#ifndef VELDRAKE_PLISTFIELD_H_
#define VELDRAKE_PLISTFIELD_H_

#include <cstdint>

namespace QX {
struct ContactField;
}

struct PListField {
  int32_t id = 0;
  QX::ContactField* field = nullptr;
};

#endif  // VELDRAKE_PLISTFIELD_H_
