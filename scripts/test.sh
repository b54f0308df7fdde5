#!/usr/bin/env bash
# Runs the whole test suite on a fresh Debian machine: installs what is missing, builds with
# warnings as errors under g++ and clang++, runs every test, then runs the suite again under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

echo "=== format"
bash scripts/check-format.sh

jobs=$(nproc)
run_preset() {
  local preset=$1
  echo "=== build: $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
}

run_preset debug
run_preset clang
run_preset asan

# The x11 tests need a real desktop; with-desktop.sh starts one for the test run.
echo "=== tests: debug"
bash scripts/with-desktop.sh ctest --preset debug -j "$jobs" --timeout 300
echo "=== tests: asan"
bash scripts/with-desktop.sh ctest --preset asan -j "$jobs" --timeout 600
