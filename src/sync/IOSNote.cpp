// SCAFFOLD: replaced by the note conversation. Lets the session link meanwhile.
#include "veldrake/IOSNote.h"
IOSNote::IOSNote() {}
IOSNote::~IOSNote() {}
int IOSNote::Init(int) { return -1; }
int IOSNote::GetNote(int, void*) { return -1; }
