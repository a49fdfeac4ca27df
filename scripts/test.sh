#!/usr/bin/env bash
# Sets up, builds and runs every test: once in the normal (debug) build and once under
# AddressSanitizer + UndefinedBehaviorSanitizer with LeakSanitizer on. Fuzz corpora replay
# as tests in both.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh

jobs=$(nproc)
status=0
for preset in debug sanitize; do
  echo "=== ${preset} build ==="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "=== ${preset} tests ==="
  ctest --preset "$preset" -j "$jobs" || status=1
done
exit $status
