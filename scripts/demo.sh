#!/usr/bin/env bash
# The demo: the module driven through the sensor host, as a probe would drive it.
set -euo pipefail
build=${1:-build}
host="$build/bin/sensor-host"

echo "== The module describes itself"
"$host" info
