#!/usr/bin/env bash
# Starts the evaluation program in demo/, its working folder, creating it on first use.
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-build}"
exe="$top/$build/views/orvexAusw"
demo="$top/demo"

mkdir -p "$demo/Config" "$demo/Data"
# The demo database: realistic runs, made once by the demo tool.
if [ ! -f "$demo/Data/Orvex.fdb" ]; then
  "$top/$build/tools/orvexDemo" create "$demo/Data/Orvex.fdb"
fi
# The INI is filled by the program with every key it knows; the demo starts with
# the chart look of a lab: white panels and room for the scales at the sides.
ini="$demo/Config/KELMAR.INI"
[ -f "$ini" ] || printf '[Chartsettings]\r\nFarbe_Chart=clWhite\r\nRand=70,6,70,4\r\n' > "$ini"
# The engineer's tools beyond the plain window are on in the demo (each has its key;
# without the section the window looks as it always did).
grep -qai '^\[Auswertung\]' "$ini" || printf '[Auswertung]\r\nMenue=true\r\nCursor=true\r\nMarken=true\r\nStatistik=true\r\nAnpassen=true\r\nLogStromachse=true\r\nBauteilfarben=true\r\nGrenzwert=true\r\nXlsxExport=true\r\nAutoRefresh_s=10\r\n' >> "$ini"

cd "$demo"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "Kein Bildschirm (weder DISPLAY noch WAYLAND_DISPLAY gesetzt): das Fenster wird nach demo/screenshot.png gezeichnet."
  echo "Mit Bildschirm erscheint es selbst, etwa unter Xvfb:  xvfb-run -a make run"
  QT_QPA_PLATFORM=offscreen "$exe" --versuch "H3TRB 2026/021" --screenshot "$demo/screenshot.png"
  echo "Bild: $demo/screenshot.png"
  exit 0
fi
exec "$exe"
