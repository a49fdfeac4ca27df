// PListAddress: a finished QX::ContactAddressFields tied to the number of the contact that
// owns it, from its analysis until the join at delivery.
//
// Ownership: `fields` belongs to this record until the join moves it into a contact; the
// join then clears `fields`. The record itself belongs to PListContactAnalysis. One thread.
#ifndef VELDRAKE_PLISTADDRESS_H_
#define VELDRAKE_PLISTADDRESS_H_

#include <cstdint>

namespace QX {
struct ContactAddressFields;
}

struct PListAddress {
  int32_t id = 0;
  QX::ContactAddressFields* fields = nullptr;
};

#endif  // VELDRAKE_PLISTADDRESS_H_
