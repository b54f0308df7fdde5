#!/usr/bin/env bash
# The main job on a fresh Debian machine: installs what is missing, builds the helper, and talks
# to it on two desktops: the simulated desktop of scenes/sample.json, then a real X display with
# a sample application (a private Xvfb by default; the current X session with --session).
# Screenshots and the simulated desktop's journal are saved under build/demo.
set -euo pipefail
cd "$(dirname "$0")/.."

session=0
[ "${1:-}" = "--session" ] && session=1

bash scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"

out=${BRINDLEMAR_DEMO_OUT:-$PWD/build/demo}
rm -rf "$out"
mkdir -p "$out/sim" "$out/x11"

echo "=== The simulated desktop (scenes/sample.json)"
BRINDLEMAR_BACKEND=sim BRINDLEMAR_SIM_SCENE=$PWD/scenes/sample.json \
  BRINDLEMAR_SIM_JOURNAL=$out/sim/journal.jsonl \
  python3 scripts/converse.py build/release/src/brindlemar scenes/sample-conversation.txt \
  "$out/sim"
echo
echo "Effects on the simulated desktop ($out/sim/journal.jsonl):"
sed 's/^/  /' "$out/sim/journal.jsonl"

echo
if [ "$session" -eq 1 ]; then
  echo "=== Your X session (DISPLAY=${DISPLAY:?--session needs DISPLAY})"
  bash scripts/demo-x11.sh "$out"
else
  echo "=== A private X display (Xvfb and openbox)"
  bash scripts/with-desktop.sh --display bash scripts/demo-x11.sh "$out"
fi
echo
echo "Screenshots saved in $out/sim and $out/x11."
