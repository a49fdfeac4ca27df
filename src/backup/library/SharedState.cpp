// The contacts core, which libVeldrakeBackup carries for its record types, also holds the
// sync route's analysis, and that names the process-wide record under analysis. The sync
// route's library defines it in its session layer; this library has no session, so it
// keeps its own, hidden behind its version script and never set.
#include "veldrake/RecordUnderAnalysis.h"

prop* pTemp = nullptr;
