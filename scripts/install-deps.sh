#!/usr/bin/env bash
# Installs every Debian package the helper, its tests and its benchmarks need.
# Safe to run repeatedly: apt-get skips what is already installed.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build clang clang-format pkg-config git
  # sanitizer and libFuzzer runtimes for clang
  libclang-rt-14-dev
  # libraries the helper links
  nlohmann-json3-dev libspng-dev zlib1g-dev libyuv-dev libutf8proc-dev libssl-dev
  libx264-dev libx265-dev libatspi2.0-dev
  libxcb1-dev libxcb-randr0-dev libxcb-shm0-dev libxcb-composite0-dev
  libxcb-xfixes0-dev libxcb-xinput-dev libxcb-xtest0-dev libxcb-res0-dev
  libxcb-ewmh-dev libxcb-icccm4-dev libxcb-image0-dev libxcb-util-dev
  # tests
  libgtest-dev libgmock-dev
  # a real desktop for the x11 tests: X server, window manager, D-Bus, AT-SPI, fixtures
  xvfb xauth openbox dbus dbus-x11 at-spi2-core x11-utils xterm
  python3 python3-gi gir1.2-gtk-3.0 xdotool
  # benchmark baselines
  libpng-dev libswscale-dev ffmpeg
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update
$SUDO apt-get install -y --no-install-recommends "${missing[@]}"
