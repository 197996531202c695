#!/usr/bin/env bash
# Installs the Debian packages that are missing, in two lists:
#   tools/install-deps.sh run    what the program is built with and runs on (the embedded demo)
#   tools/install-deps.sh test   that and what only the tests, the benchmarks and the
#                                private server of the tests and of the live demo need
# Idempotent: asks dpkg first and only runs apt-get when something is missing.
set -euo pipefail

run_packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev libgl-dev
  # Vector export of charts (SVG); printing comes with the base package.
  qt6-svg-dev
  fonts-dejavu-core
  # The client library and the embedded engine that opens a database file.
  firebird-dev libfbclient2 firebird3.0-server-core
  # The .xlsx export of the raw data window, and zlib to read back what it wrote.
  libxlsxwriter-dev zlib1g-dev
)

test_packages=(
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  # A private Firebird server and its tools (tests of a lost connection, the live demo).
  firebird3.0-server firebird3.0-utils python3
  # Independent readers of the export files in the tests.
  python3-xlrd python3-openpyxl libreoffice-calc-nogui poppler-utils
)

case "${1:-run}" in
  run)  packages=("${run_packages[@]}") ;;
  test) packages=("${run_packages[@]}" "${test_packages[@]}") ;;
  *)    echo "Aufruf: tools/install-deps.sh [run|test]" >&2; exit 2 ;;
esac

missing=()
for p in "${packages[@]}"; do
  if ! dpkg -s "$p" 2>/dev/null | grep -q '^Status: install ok installed'; then
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
