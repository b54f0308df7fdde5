#!/usr/bin/env bash
# Runs a command with a private desktop: a D-Bus session and, once the x11 backend is built, an
# Xvfb display with a window manager and the accessibility registry. Everything it started is
# stopped when the command ends.
set -euo pipefail
exec dbus-run-session -- "$@"
