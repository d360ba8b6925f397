#!/usr/bin/env bash
# Runs one Windows program of the cross-build under Wine: CTest puts it in front of every Windows
# test (CMAKE_CROSSCOMPILING_EMULATOR). The tests talk to servers on loopback only, so proxy
# variables of the calling shell are dropped; Wine's own chatter is off unless WINEDEBUG says
# otherwise.
set -euo pipefail
unset http_proxy https_proxy HTTP_PROXY HTTPS_PROXY all_proxy ALL_PROXY
export WINEDEBUG=${WINEDEBUG:--all}
# Debian's /usr/bin/wine asks for the 32-bit Wine on every start; the programs are 64-bit.
if [ -x /usr/lib/wine/wine64 ]; then
  exec /usr/lib/wine/wine64 "$@"
fi
exec wine "$@"
