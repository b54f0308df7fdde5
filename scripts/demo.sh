#!/usr/bin/env bash
# The main job on a fresh Debian machine: installs what is missing, builds the helper, and runs
# a short scripted conversation with it on the simulated desktop of scenes/sample.json.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"

out=${BRINDLEMAR_DEMO_OUT:-$PWD/build/demo}
mkdir -p "$out"
export BRINDLEMAR_BACKEND=sim
export BRINDLEMAR_SIM_SCENE=$PWD/scenes/sample.json
export BRINDLEMAR_SIM_JOURNAL=$out/journal.jsonl
rm -f "$BRINDLEMAR_SIM_JOURNAL"
python3 scripts/converse.py build/release/src/brindlemar scenes/sample-conversation.txt "$out"
