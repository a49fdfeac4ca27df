// A public header the layer table gives to the session layer, the top of the library.
#ifndef FIXTURE_SESSION_H_
#define FIXTURE_SESSION_H_
int Connect();
#endif  // FIXTURE_SESSION_H_
