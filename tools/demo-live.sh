#!/usr/bin/env bash
# The live demo: a private Firebird server shares demo/Data/Orvex.fdb between the
# acquisition simulator, which appends a row every two seconds, and the program,
# whose "aktualisieren" then shows the new points. Everything stops with the program.
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-build}"
demo="$top/demo"
live="$top/demo-live"
exe="$top/$build/views/orvexAusw"
tool="$top/$build/tools/orvexDemo"

mkdir -p "$demo/Data" "$live/Config"
[ -f "$demo/Data/Orvex.fdb" ] || "$tool" create "$demo/Data/Orvex.fdb"

port=$("$top/tools/fbserver.sh" start "$live/fbserver")
db="127.0.0.1/$port:$demo/Data/Orvex.fdb"
sim=""
cleanup() {
  set +e
  if [ -n "$sim" ]; then kill -TERM "$sim" 2>/dev/null; wait "$sim" 2>/dev/null; fi
  "$top/tools/fbserver.sh" stop "$live/fbserver"
}
trap cleanup EXIT

# The program of this folder connects through the server; the rest of its INI fills itself.
printf '[PATH]\r\nServer name=%s\r\nDatapath=%s\r\n' "$db" "$demo/Data" > "$live/Config/KELMAR.INI.new"
if [ ! -f "$live/Config/KELMAR.INI" ]; then
  # The chart look of a lab on a first start, as in demo/.
  printf '[Chartsettings]\r\nFarbe_Chart=clWhite\r\nRand=70,6,70,4\r\n' >> "$live/Config/KELMAR.INI.new"
  printf '[Auswertung]\r\nMenue=true\r\nCursor=true\r\nMarken=true\r\nStatistik=true\r\nAnpassen=true\r\nLogStromachse=true\r\nBauteilfarben=true\r\nGrenzwert=true\r\nXlsxExport=true\r\nAutoRefresh_s=10\r\n' >> "$live/Config/KELMAR.INI.new"
else
  grep -a -v -i -e '^Server name=' -e '^Datapath=' -e '^\[PATH\]' "$live/Config/KELMAR.INI" >> "$live/Config/KELMAR.INI.new" || true
fi
mv "$live/Config/KELMAR.INI.new" "$live/Config/KELMAR.INI"

"$tool" simulate "$db" --interval 2000 > "$live/simulator.log" 2>&1 &
sim=$!
echo "Server auf Port $port, Simulator schreibt in \"H3TRB 2026/021\" (Protokoll: demo-live/simulator.log)"

cd "$live"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "Kein Bildschirm: das Fenster wird nach demo-live/screenshot.png gezeichnet (mit Bildschirm: xvfb-run -a make demo-live)."
  QT_QPA_PLATFORM=offscreen "$exe" --versuch "H3TRB 2026/021" --screenshot "$live/screenshot.png"
else
  "$exe"
fi
