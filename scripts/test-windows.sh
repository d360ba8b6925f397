#!/usr/bin/env bash
# Runs the Windows test suite of a cross-build under Wine through CTest (make test-windows).
# The build (make windows) and the Linux servers (azure-emulator, transport-conformance-server)
# must exist; the CTest fixture starts and stops the servers.
#   test-windows.sh WINDOWS_BUILD_DIR [JOBS]
set -euo pipefail
build=$(cd "${1:?usage: test-windows.sh WINDOWS_BUILD_DIR [JOBS]}" && pwd)
jobs=${2:-2}
here=$(cd "$(dirname "$0")" && pwd)

# The tests' own Wine prefix inside the build tree: nothing outside it is touched, and a clean
# build starts with a fresh one.
export WINEPREFIX="$build/wine-prefix"
export WINEDEBUG=-all
unset DISPLAY

# A cold wineserver started by the first test can keep CTest's output pipe open and hang the
# run: start it here, persistent, with its descriptors on a file, and warm it up once.
# The prefix folder must exist for the wineserver; wineboot fills it below.
mkdir -p "$WINEPREFIX"
if ! wineserver -p >"$build/wineserver.log" 2>&1 </dev/null; then
  echo "test-windows: the wineserver does not start:" >&2
  cat "$build/wineserver.log" >&2
  exit 1
fi
stop_wineserver() {
  wineserver -k >/dev/null 2>&1 || true
}
trap stop_wineserver EXIT

if [ ! -f "$WINEPREFIX/system.reg" ]; then
  echo "test-windows: making the Wine prefix $WINEPREFIX"
  if ! "$here/wine-run.sh" wineboot --init >"$build/wineboot.log" 2>&1 </dev/null; then
    echo "test-windows: wineboot cannot make the prefix; its log:" >&2
    cat "$build/wineboot.log" >&2
    exit 1
  fi
fi
"$here/wine-run.sh" cmd /c exit >/dev/null 2>&1 </dev/null

ctest --test-dir "$build" --output-on-failure -j "$jobs" --timeout 600
