#!/usr/bin/env bash
# The demo: the bundled emulator answers as Azure would, and the sensor host drives the module
# through its exports as a probe does: both discoveries, a check of every sensor kind from the
# discovered rows, the cost sensor with every option on (checked twice, as a probe would), and a
# short watch of every discovered sensor.
set -euo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
host="$root/$build/bin/sensor-host"
emulator="$root/$build/bin/azure-emulator"
credentials="$root/emulator/scenarios/default-credentials.json"

work=$(mktemp -d)
emulator_pid=""
cleanup() {
  if [ -n "$emulator_pid" ]; then
    kill "$emulator_pid" 2>/dev/null || true
    wait "$emulator_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

"$emulator" --tls-dir "$work/tls" --print-env >"$work/env" 2>"$work/emulator.log" &
emulator_pid=$!
for _ in $(seq 1 100); do
  grep -q MICROSOFTAZURE_CA_BUNDLE "$work/env" 2>/dev/null && break
  if ! kill -0 "$emulator_pid" 2>/dev/null; then
    echo "The emulator did not start:" >&2
    cat "$work/emulator.log" >&2
    exit 1
  fi
  sleep 0.1
done
grep -q MICROSOFTAZURE_CA_BUNDLE "$work/env" || { echo "The emulator did not report its address in 10 s" >&2; exit 1; }
# shellcheck disable=SC1091
. "$work/env"
export MICROSOFTAZURE_ARM_ENDPOINT MICROSOFTAZURE_LOGIN_ENDPOINT MICROSOFTAZURE_CA_BUNDLE

run() {
  echo
  echo "\$ sensor-host $*"
  "$host" --state "$work/state.json" --log-dir "$work/logs" "$@" || echo "(exit code $?)"
}

echo "== The emulator serves Azure at $MICROSOFTAZURE_ARM_ENDPOINT"
run info

echo
echo "== Virtual machines"
run discover virtual_machine_metascan --credentials "$credentials"
for row in 1 2 3 4; do
  run check virtual_machine_sensor --credentials "$credentials" --from-row "$row" --sensor-id "$row"
done

echo
echo "== Azure SQL databases and elastic pools"
run discover sql_database_metascan --credentials "$credentials"
for row in 1 2 3 4; do
  run check sql_database_sensor --credentials "$credentials" --from-row "$row" --sensor-id $((10 + row))
done

echo
echo "== Subscription costs, every option on (two checks: the second declares nothing anew)"
for pass in 1 2; do
  run check subscription_cost_sensor --credentials "$credentials" --sensor-id 20 \
    --set show_budgets=enabled --set show_forecast=enabled --set show_most_expensive_service=enabled \
    --set most_expensive_service_grouping=servicename
done

echo
echo "== Every discovered sensor as a probe runs it: each checked every 5 s for 20 s, then the summary"
echo "   (a live view in a terminal, one JSON line per check otherwise)"
run watch --credentials "$credentials" --interval 5 --duration 20 --sensor-id 31

echo
echo "== Done; the emulator stops and its temporary files go."
