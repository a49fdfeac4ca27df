// Export control. The library is built with hidden visibility: only what is marked
// VELDRAKE_API (the entry points, session variables, conversation classes and text
// functions) leaves the shared object.
#ifndef VELDRAKE_EXPORT_H_
#define VELDRAKE_EXPORT_H_

#if defined(VELDRAKE_BUILDING_LIBRARY)
#define VELDRAKE_API __attribute__((visibility("default")))
#else
#define VELDRAKE_API
#endif
#define VELDRAKE_INTERNAL

#endif  // VELDRAKE_EXPORT_H_
