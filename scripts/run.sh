#!/usr/bin/env bash
# Sets up, builds the release configuration and runs the main job: the command-line host
# exports the address book of the built-in emulated device (the samples) as vCard 3.0 on
# standard output. Arguments replace the default command, e.g.
#   bash scripts/run.sh notes --device sample --format md
#   bash scripts/run.sh contacts --device unix:/tmp/veldrake-devicesim.sock -o book.vcf
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh >&2
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target veldrake veldrake-devicesim >&2
if (($#)); then
  exec build/release/src/veldrake "$@"
fi
exec build/release/src/veldrake contacts --device sample
