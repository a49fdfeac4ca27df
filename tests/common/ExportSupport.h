// Shared pieces of the end-to-end export tests against the in-process emulator: device
// options, a scripted reply at one message, and the order the device hands records out.
#ifndef VELDRAKE_TESTS_COMMON_EXPORTSUPPORT_H_
#define VELDRAKE_TESTS_COMMON_EXPORTSUPPORT_H_

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "devicesim/Device.h"

namespace exportsupport {

using Labels = std::vector<std::string>;

inline devicesim::DeviceOptions Batches(size_t size) {
  devicesim::DeviceOptions options;
  options.batchSize = size;
  return options;
}

// Batches of `size` whose reply to the `occurrence`-th `label` (every one if -1) is `payload`.
inline devicesim::DeviceOptions ReplyAt(size_t size, const std::string& label, int occurrence,
                                        const std::string& payload) {
  devicesim::DeviceOptions options = Batches(size);
  options.scriptedReply = [=](const std::string& l, int n) {
    return l == label && (occurrence < 0 || n == occurrence) ? std::optional<std::string>(payload)
                                                             : std::nullopt;
  };
  return options;
}

// Indices 0..count-1 as the device delivers them: batch by batch, each batch in the order
// of its record keys as text ("10" < "9"); `key` gives an index's key.
template <typename Key>
std::vector<size_t> DeliveryOrder(size_t count, size_t batch, Key key, size_t limit = SIZE_MAX) {
  std::vector<size_t> order;
  for (size_t begin = 0; begin < count; begin += batch) {
    const size_t first = order.size();
    for (size_t i = begin; i < std::min(begin + batch, count); ++i) order.push_back(i);
    std::sort(order.begin() + static_cast<std::ptrdiff_t>(first), order.end(),
              [&](size_t a, size_t b) { return std::to_string(key(a)) < std::to_string(key(b)); });
  }
  if (order.size() > limit) order.resize(limit);
  return order;
}

}  // namespace exportsupport

#endif  // VELDRAKE_TESTS_COMMON_EXPORTSUPPORT_H_
