#!/usr/bin/env bash
# Every benchmark of bench/ from one build directory: the Google Benchmark programs (the JSON
# layer, the REST client) first, then the end-to-end table of the module against the emulator.
# Options after the build directory go to the end-to-end program (e.g. --sensors=1,100).
# Figures are only worth comparing from a Release build on an otherwise quiet machine; the
# end-to-end table compares ratios measured in one run, which stay meaningful on a busy one.
set -euo pipefail
if [ $# -lt 1 ]; then
  echo "usage: scripts/bench.sh <build dir> [end-to-end options]" >&2
  exit 2
fi
build=$1
shift
root=$(cd "$(dirname "$0")/.." && pwd)
case "$build" in
  /*) bin="$build/bin" ;;
  *) bin="$root/$build/bin" ;;
esac

end_to_end="$bin/end_to_end_bench"
if [ ! -x "$end_to_end" ]; then
  echo "No benchmarks in $bin: build them first (make bench, or cmake --build $build)." >&2
  exit 1
fi
build_type=$(sed -n 's/^CMAKE_BUILD_TYPE:STRING=//p' "$bin/../CMakeCache.txt" 2>/dev/null || true)
echo "Benchmarks of $bin (build type ${build_type:-unknown}), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"

for program in "$bin"/*_bench; do
  [ "$program" = "$end_to_end" ] && continue
  [ -x "$program" ] || continue
  echo
  echo "== $(basename "$program")"
  "$program"
done

echo
echo "== $(basename "$end_to_end")"
"$end_to_end" "$@"
echo && echo "== quota_throttling" && "$bin/quota_throttling"
