#!/usr/bin/env bash
# Runs a command with a private desktop: a D-Bus session bus and the AT-SPI accessibility bus and
# registry. Everything it started is stopped when the command ends; its exit status is the
# command's.
#
#   scripts/with-desktop.sh ctest --preset debug
#   scripts/with-desktop.sh --display ./my-command
#
# Without --display, DISPLAY is cleared: the x11 test binaries start their own private X servers,
# and nothing reaches the X session the command was started from. With --display, the command
# gets an X display: the current one when DISPLAY is set, else a private Xvfb (1920x1080) with
# the openbox window manager.
set -euo pipefail

want_display=0
if [ "${1:-}" = "--display" ]; then
  want_display=1
  shift
fi
if [ $# -eq 0 ]; then
  echo "usage: $0 [--display] command [arguments...]" >&2
  exit 2
fi

# Re-run inside a fresh session bus, which ends with the command.
if [ -z "${BRINDLEMAR_DESKTOP_SESSION:-}" ]; then
  export BRINDLEMAR_DESKTOP_SESSION=1
  [ "$want_display" -eq 1 ] && set -- --display "$@"
  exec dbus-run-session -- "$0" "$@"
fi
unset BRINDLEMAR_DESKTOP_SESSION

started=()
cleanup() {
  local pid
  for pid in "${started[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${started[@]}"; do wait "$pid" 2>/dev/null || true; done
}
trap cleanup EXIT

log_dir=$(mktemp -d /tmp/brindlemar-desktop-XXXXXX)
started_log() { echo "with-desktop: $*" >&2; }

start_display() {
  local number
  # Xvfb picks a free display number and writes it to this descriptor once it accepts clients.
  mkfifo "$log_dir/displayfd"
  exec {display_fd}<>"$log_dir/displayfd"
  Xvfb -displayfd "$display_fd" -screen 0 1920x1080x24 -nolisten tcp -noreset \
    >"$log_dir/xvfb.log" 2>&1 &
  started+=("$!")
  if ! read -r -t 20 -u "$display_fd" number; then
    echo "with-desktop: Xvfb did not start (see $log_dir/xvfb.log)" >&2
    exit 1
  fi
  exec {display_fd}>&-
  export DISPLAY=":$number"
  openbox --sm-disable >"$log_dir/openbox.log" 2>&1 &
  started+=("$!")
  started_log "Xvfb and openbox on DISPLAY $DISPLAY"
}

# Asks the session bus whether the launcher owns its name, without activating another one.
a11y_bus_ready() {
  dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
    org.freedesktop.DBus.NameHasOwner string:org.a11y.Bus 2>/dev/null | grep -q 'boolean true'
}

start_accessibility() {
  local launcher=/usr/libexec/at-spi-bus-launcher registry=/usr/libexec/at-spi2-registryd
  if [ ! -x "$launcher" ] || [ ! -x "$registry" ]; then
    started_log "AT-SPI is not installed; continuing without it"
    return
  fi
  "$launcher" --launch-immediately --a11y=1 >"$log_dir/at-spi-bus.log" 2>&1 &
  started+=("$!")
  local i
  for i in $(seq 100); do
    a11y_bus_ready && break
    sleep 0.05
  done
  if ! a11y_bus_ready; then
    started_log "the accessibility bus did not start (see $log_dir/at-spi-bus.log)"
    return
  fi
  # Toolkits expose their accessibility trees only when assistive technology is enabled.
  dbus-send --session --dest=org.a11y.Bus /org/a11y/bus \
    org.freedesktop.DBus.Properties.Set string:org.a11y.Status string:IsEnabled \
    variant:boolean:true >/dev/null 2>&1 || true
  "$registry" >"$log_dir/at-spi-registry.log" 2>&1 &
  started+=("$!")
  started_log "AT-SPI bus and registry running"
}

if [ "$want_display" -eq 1 ]; then
  [ -n "${DISPLAY:-}" ] || start_display
else
  unset DISPLAY
fi
start_accessibility

status=0
"$@" || status=$?
rm -rf "$log_dir"
exit "$status"
