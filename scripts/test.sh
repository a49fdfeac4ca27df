#!/usr/bin/env bash
# Sets up, checks the formatting, builds and runs every test: once in the normal (debug)
# build, where warnings are errors, and once under AddressSanitizer +
# UndefinedBehaviorSanitizer with LeakSanitizer on. Fuzz corpora replay as tests in both.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh

# Every C and C++ source of ours: those git tracks, or, outside a clone, those on disk
# (build trees left out). Fuzz corpora are data, whatever their names.
sources() {
  if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files -z -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' ':!:fuzz/corpus/**'
  else
    find . \( -path ./build -o -path './build*' -o -path ./fuzz/corpus \) -prune -o \
      -type f \( -name '*.c' -o -name '*.cc' -o -name '*.cpp' -o -name '*.h' -o -name '*.hpp' \) \
      -print0
  fi
}

status=0
echo "=== formatting ==="
if ! sources | xargs -0 clang-format --dry-run -Werror; then
  echo "formatting differs from .clang-format: run clang-format -i on the files above" >&2
  status=1
fi

jobs=$(nproc)
for preset in debug sanitize; do
  echo "=== ${preset} build ==="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "=== ${preset} tests ==="
  ctest --preset "$preset" -j "$jobs" || status=1
done
exit $status
