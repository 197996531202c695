#!/usr/bin/env bash
# A private Firebird server on a free loopback port, with its own configuration
# folder, so that two processes (the evaluation program and the acquisition
# simulator) can share one database file.
#
#   tools/fbserver.sh start DIR   starts it; prints the port; DIR keeps its state
#   tools/fbserver.sh stop DIR    stops it (SIGTERM, after 5 s SIGKILL) and waits for it
#   tools/fbserver.sh port DIR    prints the port of a running server
#
# SYSDBA's password is FB_PASSWORD, by default the one the program logs in with.
set -euo pipefail

cmd="${1:-}"; dir="${2:-}"
[ -n "$cmd" ] && [ -n "$dir" ] || { echo "usage: $0 start|stop|port DIR" >&2; exit 2; }
password="${FB_PASSWORD:-kestrel42}"
lib=/usr/lib/x86_64-linux-gnu/firebird/3.0
etc=/etc/firebird/3.0

free_port() {
  python3 - <<'PY'
import socket
s = socket.socket()
s.bind(("127.0.0.1", 0))
print(s.getsockname()[1])
s.close()
PY
}

listening() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

case "$cmd" in
start)
  if [ -f "$dir/server.pid" ] && kill -0 "$(cat "$dir/server.pid")" 2>/dev/null; then
    cat "$dir/port"; exit 0
  fi
  [ -x /usr/sbin/firebird ] || { echo "fbserver: /usr/sbin/firebird fehlt (Paket firebird3.0-server)" >&2; exit 1; }
  mkdir -p "$dir/intl"
  # The character set module must be a real copy; the rest may be links.
  cp -f "$lib/intl/libfbintl.so" "$dir/intl/"
  ln -sfn "$etc/fbintl.conf" "$dir/intl/fbintl.conf"
  for name in lib plugins UDF plugins.conf firebird.msg; do
    ln -sfn "$(readlink -f "$lib/$name")" "$dir/$name"
  done
  cp -f /var/lib/firebird/3.0/system/security3.fdb "$dir/security3.fdb"
  chmod 600 "$dir/security3.fdb"
  port=$(free_port)
  cat > "$dir/firebird.conf" <<CONF
include $etc/firebird.conf
RemoteBindAddress = 127.0.0.1
RemoteServicePort = $port
SecurityDatabase = $dir/security3.fdb
ServerMode = Super
CONF
  echo "alter user SYSDBA password '$password' using plugin Srp; commit;" |
    FIREBIRD="$dir" isql-fb -q -user SYSDBA "$dir/security3.fdb"
  # No -p: with it the server binds every interface.
  FIREBIRD="$dir" nohup /usr/sbin/firebird > "$dir/server.log" 2>&1 &
  echo $! > "$dir/server.pid"
  echo "$port" > "$dir/port"
  for _ in $(seq 1 300); do
    listening "$port" && { echo "$port"; exit 0; }
    kill -0 "$(cat "$dir/server.pid")" 2>/dev/null || { cat "$dir/server.log" >&2; exit 1; }
    sleep 0.05
  done
  echo "fbserver: Port $port wird nicht bedient" >&2; exit 1
  ;;
stop)
  [ -f "$dir/server.pid" ] || exit 0
  pid=$(cat "$dir/server.pid")
  kill -TERM "$pid" 2>/dev/null || true
  for _ in $(seq 1 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  kill -KILL "$pid" 2>/dev/null || true
  # Reap it when it is our child; otherwise wait until the kernel has it gone.
  wait "$pid" 2>/dev/null || true
  for _ in $(seq 1 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  rm -f "$dir/server.pid"
  ;;
port)
  cat "$dir/port"
  ;;
*)
  echo "usage: $0 start|stop|port DIR" >&2; exit 2
  ;;
esac
