// SCAFFOLD: replaced by the contact conversation. Lets the session link meanwhile.
#include "veldrake/IOSContact.h"
IOSContact::IOSContact() : analysis(nullptr) {}
IOSContact::~IOSContact() {}
int IOSContact::GetContact(int, void*) { return -1; }
int IOSContact::CloseContactProtocol(int) { return -1; }
int IOSContact::StartContactProtocol(int) { return -1; }
