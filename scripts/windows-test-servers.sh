#!/usr/bin/env bash
# Starts and stops the servers the Windows tests talk to from inside Wine, natively on loopback:
# the Azure emulator (served as "localhost": Wine ignores IP addresses in certificates) and the
# transport conformance server. CTest runs it as the fixture of the tests that need them.
#
#   windows-test-servers.sh start STATE_DIR NATIVE_BUILD_DIR IMPORT_ROOT_CA_EXE
#   windows-test-servers.sh stop STATE_DIR
#
# start leaves emulator.env and conformance.env in STATE_DIR (KEY=VALUE, paths as Wine sees
# them) and puts the emulator's CA into the Wine prefix's root store (WINEPREFIX).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

# /a/b as a Windows program under Wine opens it.
wine_path() {
  printf 'Z:%s' "$1" | tr '/' '\\'
}

# Waits (at most 30 s) for a file to hold a line matching a pattern while the process lives.
wait_for() {
  local file=$1 pattern=$2 pid=$3 log=$4
  for _ in $(seq 1 300); do
    if grep -q -- "$pattern" "$file" 2>/dev/null; then
      return 0
    fi
    if ! kill -0 "$pid" 2>/dev/null; then
      echo "windows-test-servers: the server (pid $pid) stopped:" >&2
      cat "$log" >&2
      return 1
    fi
    sleep 0.1
  done
  echo "windows-test-servers: no readiness in $file after 30 s; its log:" >&2
  cat "$log" >&2
  return 1
}

stop_servers() {
  local state=$1 pid_file pid
  for pid_file in "$state"/*.pid; do
    [ -e "$pid_file" ] || continue
    pid=$(cat "$pid_file")
    if kill -0 "$pid" 2>/dev/null; then
      kill -TERM "$pid" 2>/dev/null || true
      for _ in $(seq 1 100); do
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
      done
      kill -KILL "$pid" 2>/dev/null || true
    fi
    rm -f "$pid_file"
  done
  rm -f "$state/emulator.env" "$state/conformance.env" "$state/emulator.out"
}

start_servers() {
  local state=$1 native=$2 import_tool=$3
  local emulator="$native/bin/azure-emulator"
  local conformance="$native/bin/transport-conformance-server"
  for program in "$emulator" "$conformance"; do
    if [ ! -x "$program" ]; then
      echo "windows-test-servers: $program is missing; build it in the Linux build first:" >&2
      echo "  cmake --build $native --target azure-emulator transport-conformance-server" >&2
      exit 1
    fi
  done
  mkdir -p "$state"
  stop_servers "$state"

  # Every descriptor goes to a file: a server holding CTest's pipe would hang the run.
  setsid "$emulator" --host localhost --tls-dir "$state/emulator-tls" --print-env \
    >"$state/emulator.out" 2>"$state/emulator.log" </dev/null &
  echo $! >"$state/emulator.pid"
  wait_for "$state/emulator.out" MICROSOFTAZURE_CA_BUNDLE "$(cat "$state/emulator.pid")" \
    "$state/emulator.log"
  local ca_file
  ca_file=$(sed -n 's/^export MICROSOFTAZURE_CA_BUNDLE=//p' "$state/emulator.out")
  {
    sed -n 's/^export \(MICROSOFTAZURE_[A-Z_]*_ENDPOINT=.*\)$/\1/p' "$state/emulator.out"
    echo "MICROSOFTAZURE_CA_BUNDLE=$(wine_path "$ca_file")"
  } >"$state/emulator.env.partial"
  mv "$state/emulator.env.partial" "$state/emulator.env"

  # The prefix trusts the emulator's CA as Windows would after an administrator imported it.
  "$here/wine-run.sh" "$import_tool" "$(wine_path "$ca_file")" </dev/null

  setsid "$conformance" "$state/conformance-tls" "$state/conformance.env" --wine-paths \
    >"$state/conformance.log" 2>&1 </dev/null &
  echo $! >"$state/conformance.pid"
  wait_for "$state/conformance.env" refusing_port "$(cat "$state/conformance.pid")" \
    "$state/conformance.log"
  echo "windows-test-servers: emulator and conformance server up ($state)"
}

case "${1:-}" in
  start)
    [ $# -eq 4 ] || { echo "usage: $0 start STATE_DIR NATIVE_BUILD_DIR IMPORT_ROOT_CA_EXE" >&2; exit 2; }
    start_servers "$2" "$3" "$4"
    ;;
  stop)
    [ $# -eq 2 ] || { echo "usage: $0 stop STATE_DIR" >&2; exit 2; }
    stop_servers "$2"
    echo "windows-test-servers: stopped"
    ;;
  *)
    echo "usage: $0 start STATE_DIR NATIVE_BUILD_DIR IMPORT_ROOT_CA_EXE | stop STATE_DIR" >&2
    exit 2
    ;;
esac
