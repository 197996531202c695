#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need.
# Idempotent: asks dpkg first and only runs apt-get when something is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev libgl-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  fonts-dejavu-core python3
  firebird-dev libfbclient2 firebird3.0-server-core firebird3.0-server firebird3.0-utils
  # Independent readers of the export files in the tests.
  python3-xlrd python3-openpyxl libreoffice-calc-nogui poppler-utils
  # The .xlsx export of the raw data window, and zlib to read back what it wrote.
  libxlsxwriter-dev zlib1g-dev
  # Vector export of charts (SVG); printing comes with the base package.
  qt6-svg-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg -s "$p" >/dev/null 2>&1 || ! dpkg -s "$p" 2>/dev/null | grep -q '^Status: install ok installed'; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
