#!/usr/bin/env bash
# Starts the evaluation program in demo/, its working folder, creating it on first use.
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-build}"
exe="$top/$build/views/orvexAusw"
demo="$top/demo"

mkdir -p "$demo/Config"
# An empty INI is filled by the program with every key it knows.
[ -f "$demo/Config/KELMAR.INI" ] || : > "$demo/Config/KELMAR.INI"

cd "$demo"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "Kein Bildschirm (weder DISPLAY noch WAYLAND_DISPLAY gesetzt)."
  echo "Das Fenster erscheint mit einem Bildschirm, etwa unter Xvfb:  xvfb-run -a make run"
  # Start and end once without a screen, so the working folder and its INI are complete.
  QT_QPA_PLATFORM=offscreen "$exe" &
  pid=$!
  sleep 2
  kill -TERM "$pid" 2>/dev/null || true
  wait "$pid" || true
  echo "Arbeitsordner: $demo"
  exit 0
fi
exec "$exe"
