// A minimal host linked against the installed library: exports the contacts of the
// device at argv[1] and prints how many arrived and the first one's first name.
#include <clocale>
#include <cstdio>
#include <string>

#include "MobileDevice/mdsim.h"
#include "QX/Contact.h"
#include "veldrake/Session.h"

static int g_count = 0;
static std::string g_first;

static int OnContact(void* record) {
  const QX::Contact* contact = static_cast<const QX::Contact*>(record);
  if (g_count++ == 0 && contact->firstName != nullptr) g_first = contact->firstName;
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::setlocale(LC_ALL, "C.UTF-8");
  void* device = mdsim_device_new(argv[1]);
  const int result = GetData(1, nullptr, device, reinterpret_cast<void*>(&OnContact));
  if (result != -1) DisContectDeviceAndProtocol();
  mdsim_device_free(device);
  std::printf("result %d, %d contacts, first %s\n", result, g_count, g_first.c_str());
  return result == 0 ? 0 : 1;
}
