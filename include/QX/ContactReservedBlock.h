// QX::ContactReservedBlock: a block that a QX::Contact may point to. The library never
// makes one; the layout is fixed because hosts read QX::Contact directly.
//
// Ownership: `data` is an array-new heap text owned by the block; the block itself is
// owned and released by the QX::Contact that points to it.
#ifndef VELDRAKE_QX_CONTACTRESERVEDBLOCK_H_
#define VELDRAKE_QX_CONTACTRESERVEDBLOCK_H_

#include <cstdint>

#include "veldrake/Export.h"

namespace QX {

struct VELDRAKE_API ContactReservedBlock {
  int32_t word1 = 0;
  int32_t word2 = 0;
  char* data = nullptr;
};

}  // namespace QX

#endif  // VELDRAKE_QX_CONTACTRESERVEDBLOCK_H_
