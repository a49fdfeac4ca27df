#!/usr/bin/env bash
# Sets up, builds the release configuration and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"
ls -l build/release/src/libVeldrakeForMac.so
