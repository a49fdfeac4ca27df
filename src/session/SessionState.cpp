// The process-wide session state, with its values at load.
#include "veldrake/Session.h"

void* pDeviceDev = nullptr;
void* iDeviceAFC = nullptr;
int iSocket = 0;
prop* pTemp = nullptr;
int iDeviceState = 2;
char chUDID[256] = {0};
