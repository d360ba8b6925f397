#!/usr/bin/env bash
# The README's first commands, exactly as written under "Running it by hand", run in a scratch
# folder that has the checkout's emulator/ and this build as build/. They must start the
# emulator, point the shell at it, discover and check a machine, and stop the emulator.
#   getting_started_test.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
test_name="getting-started test"
# shellcheck source=tests/deploy/scratch.sh
. "$(dirname "$0")/scratch.sh" "$@"

commands=$(awk '/^## Running it by hand/ { section = 1 }
                section && /^```sh/ { block = 1; next }
                block && /^```/ { exit }
                block { print }' "$source_dir/README.md")
[[ $commands == *"azure-emulator"* && $commands == *"default-credentials.json"* ]] ||
  fail "README.md's first commands under \"Running it by hand\" no longer start the emulator and use its credentials: $commands"

mkdir "$work/checkout" "$work/home"
ln -s "$build" "$work/checkout/build"
ln -s "$source_dir/emulator" "$work/checkout/emulator"
cd "$work/checkout"
export HOME=$work/home XDG_STATE_HOME=$work/home/state
# The commands run in this shell, as a reader's would: the variables they set stay here.
eval "$commands" >"$work/out" 2>&1 || fail "the commands failed: $(cat "$work/out")"
stopped=$AZURE_EMULATOR_PID
AZURE_EMULATOR_PID=""

[[ -n $stopped ]] || fail "the emulator's line did not set AZURE_EMULATOR_PID"
grep -q "vm-web-burst-01" "$work/out" || fail "the discovery listed no machine: $(cat "$work/out")"
grep -q "Average CPU" "$work/out" || fail "the check reported no CPU: $(cat "$work/out")"

# --env-file in the background: the file is whole once the command returns.
"$build/bin/azure-emulator" --background --env-file "$work/emulator.env" >"$work/started"
grep -q "^Process: " "$work/started" || fail "--background printed no process: $(cat "$work/started")"
# shellcheck disable=SC1091
. "$work/emulator.env"
[[ $MICROSOFTAZURE_ARM_ENDPOINT == https://127.0.0.1:*/ && -f $MICROSOFTAZURE_CA_BUNDLE ]] ||
  fail "the environment file does not point at the emulator: $(cat "$work/emulator.env")"

# A start that fails reports its message and code through --background.
set +e
failed=$("$build/bin/azure-emulator" --background --scenario "$work/missing.json" 2>&1)
code=$?
set -e
[[ $code == 2 && $failed == *"missing.json"* ]] ||
  fail "a bad scenario in the background ended with $code: $failed"
