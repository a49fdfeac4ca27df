// The record dictionary the contact analysis is working on, exported with the session
// state (and defined there) but written and read only by the contact analysis.
#ifndef VELDRAKE_RECORDUNDERANALYSIS_H_
#define VELDRAKE_RECORDUNDERANALYSIS_H_

#include "veldrake/Export.h"

class prop;

// The record dictionary under analysis during contact analysis, null otherwise.
extern VELDRAKE_API prop* pTemp;

#endif  // VELDRAKE_RECORDUNDERANALYSIS_H_
