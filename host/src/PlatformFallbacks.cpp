// TEMPORARY: weak definitions of the platform calls whose implementation is on its way
// (platform branch), so that the host builds and runs meanwhile. Each forwards to the
// platform's own definition when the loaded stand-in has one (RTLD_NEXT), so nothing is
// shadowed if this file outlives the merge. Delete at the merge.
#include <dlfcn.h>

#include "MobileDevice/mdphone.h"
#include "MobileDevice/mdsim.h"

namespace {

template <typename Function>
Function Real(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" __attribute__((weak)) long long mdsim_bytes_received(const void* device) {
  static const auto real = Real<long long (*)(const void*)>("mdsim_bytes_received");
  return real != nullptr ? real(device) : -1;  // TEMPORARY: cannot count
}

extern "C" __attribute__((weak)) int mdphone_probe_service(const char* udid, int* uses_tls) {
  static const auto real = Real<int (*)(const char*, int*)>("mdphone_probe_service");
  if (real != nullptr) return real(udid, uses_tls);
  if (uses_tls != nullptr) *uses_tls = 0;  // TEMPORARY: the export check that follows tells
  return 0;
}
