// The host's record callback, as both exports call it.
#ifndef VELDRAKE_RECORDCALLBACK_H_
#define VELDRAKE_RECORDCALLBACK_H_

// A function taking one record (QX::Contact* or QX::Notes*) and returning -1 to stop,
// anything else to go on. The record is only lent: the library destroys it on return.
typedef int (*VeldrakeRecordCallback)(void* record);

#endif  // VELDRAKE_RECORDCALLBACK_H_
