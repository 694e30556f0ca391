#!/usr/bin/env bash
# Installs the Debian packages qdx needs to build, test, benchmark and run its demo.
# Idempotent: installs only what is missing, and refreshes the package lists at most once.
# This is the one place that lists the project's system dependencies.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  libcurl4-openssl-dev libssl-dev openssl
  nlohmann-json3-dev
  libsqlite3-dev
  libcpp-httplib-dev
  libcairo2-dev libpango1.0-dev fonts-wqy-zenhei
  libpng-dev libjpeg-dev
  libplist-dev
  libicu-dev
  libgtest-dev libgmock-dev
  libbenchmark-dev
  clang libclang-rt-14-dev
  chromium
  libsdl2-dev
  xvfb xdotool x11-apps imagemagick
  abigail-tools python3
)

# Only the benchmarks compare against OpenCV's box filter: `make bench`
# (QDX_SETUP_BENCH=1) installs it, nothing else needs it.
if [ "${QDX_SETUP_BENCH:-0}" = "1" ]; then
  packages+=(libopencv-dev)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "setup: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
