#!/usr/bin/env bash
# The x11 half of the demo: starts a sample application on the X display this script is given,
# then talks to the helper on that display: listings, a screenshot before and after typing into
# the application. Run it through scripts/with-desktop.sh --display (see scripts/demo.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
out=$1

# The application quits when its standard input ends: keep a pipe open to it for the demo.
rm -f "$out/sample-app.in"
mkfifo "$out/sample-app.in"
/usr/bin/python3 tests/fixtures/input_fixture.py --title "Brindlemar sample" --position 200,150 \
  <"$out/sample-app.in" >"$out/sample-app.log" 2>&1 &
app=$!
exec {app_input}>"$out/sample-app.in"
trap 'kill $app 2>/dev/null || true; rm -f "$out/sample-app.in"' EXIT
for _ in $(seq 100); do
  grep -q '"ready"' "$out/sample-app.log" 2>/dev/null && break
  sleep 0.1
done
sleep 0.5  # let the window manager finish placing the window

BRINDLEMAR_BACKEND=x11 python3 scripts/converse.py build/release/src/brindlemar \
  scenes/x11-conversation.txt "$out/x11"
echo
echo "What the sample application received:"
grep '"text"' "$out/sample-app.log" || echo "  (nothing)"
