// Assertions for conditions that the library's own callers control, never for bytes from
// the device. Always on, in every build: a broken contract stops the process with the
// condition as its text.
#ifndef VELDRAKE_ASSERT_H_
#define VELDRAKE_ASSERT_H_

#include <cstdio>
#include <cstdlib>

#define VELDRAKE_ASSERT(cond)                                                           \
  do {                                                                                  \
    if (!(cond)) {                                                                      \
      std::fprintf(stderr, "%s:%d: assertion failed: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                     \
    }                                                                                   \
  } while (0)

#endif  // VELDRAKE_ASSERT_H_
