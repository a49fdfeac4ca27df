// Wide text to a 32-bit int: the number the text begins with, or 0. Goes through the
// process's locale (wcstombs) and atoi, so leading blanks and a sign are accepted.
#ifndef VELDRAKE_WSTRTOI_H_
#define VELDRAKE_WSTRTOI_H_

#include <string>

#include "veldrake/Export.h"

VELDRAKE_API int wstrtoi(std::wstring text);

#endif  // VELDRAKE_WSTRTOI_H_
