#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running the project need.
# Does nothing when every package is already installed; uses sudo when not root.
set -euo pipefail

PACKAGES=(
  g++ cmake make pkg-config clang-format
  libgtest-dev libgmock-dev libbenchmark-dev
  libsqlite3-dev sqlite3
  libpq-dev postgresql postgresql-client
  libcairo2-dev libpango1.0-dev zlib1g-dev fonts-dejavu-core fonts-dejavu-extra
  nlohmann-json3-dev libcli11-dev libfmt-dev libxlsxwriter-dev unzip
  poppler-utils time
)

# `install-deps.sh fuzz` adds the compiler the fuzz targets need (clang with libFuzzer).
if [ "${1:-}" = "fuzz" ]; then
  PACKAGES+=(clang)
fi

missing=()
for pkg in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$pkg")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  SUDO="sudo"
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
