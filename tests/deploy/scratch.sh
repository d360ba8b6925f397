# What both deployment tests start with, sourced after `set -euo pipefail`: SOURCE_DIR and
# BUILD_DIR ($1, $2) as absolute paths, a scratch folder $work removed on exit with any
# emulator the test started ($AZURE_EMULATOR_PID, as the emulator's lines set it), and fail.
#   test_name=... . scratch.sh "$@"
source_dir=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
work=$(mktemp -d)
AZURE_EMULATOR_PID=""
cleanup() {
  if [ -n "$AZURE_EMULATOR_PID" ]; then kill "$AZURE_EMULATOR_PID" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "$test_name: $*" >&2
  exit 1
}
