// Device: the whole emulated device in one include, for callers that use several of its
// parts. Each part has its own header: the conversation (Conversation.h), scripted faults
// (Fault.h), the in-process device (InProcessDevice.h) and the listener (Listener.h).
#ifndef DEVICESIM_DEVICE_H_
#define DEVICESIM_DEVICE_H_

#include "devicesim/Conversation.h"
#include "devicesim/Fault.h"
#include "devicesim/InProcessDevice.h"
#include "devicesim/Listener.h"

#endif  // DEVICESIM_DEVICE_H_
