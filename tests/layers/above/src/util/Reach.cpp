// The lowest layer reaching up to the highest: the check must name this include.
#include "veldrake/Session.h"

int Reach() {
  return Connect();
}
