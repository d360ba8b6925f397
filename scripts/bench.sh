#!/usr/bin/env bash
# Every benchmark of bench/ from one build directory: the Google Benchmark programs (the JSON
# layer, the REST client) first, then the end-to-end table of the module against the emulator,
# with Microsoft's Azure SDK for JavaScript beside it (installed here when Node.js is present).
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

# Microsoft's Azure SDK for JavaScript, the peer the end-to-end program sets beside the module:
# its packages are installed from the lockfile with npm ci into the build directory, once per
# lockfile. Without Node.js or npm the run goes on and the SDK's row says what is missing.
install_sdk_peer() {
  local source="$root/bench/peers/azure-sdk-js" target
  target="$(cd "$bin/.." && pwd)/peers/azure-sdk-js"
  if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
    sdk_peer=(--no-sdk-peer="Node.js 20 and npm are not installed (Debian packages nodejs and npm)")
    return
  fi
  local major
  major=$(node -p 'process.versions.node.split(".")[0]')
  if [ "$major" -lt 20 ]; then
    sdk_peer=(--no-sdk-peer="Node.js $(node --version) is too old; the SDK needs Node.js 20 or newer")
    return
  fi
  mkdir -p "$target"
  cp "$source/vm_check.js" "$target/"
  if ! cmp -s "$source/package-lock.json" "$target/package-lock.json" || [ ! -d "$target/node_modules" ]; then
    echo "Installing the Azure SDK peer's packages (npm ci) into $target"
    cp "$source/package.json" "$source/package-lock.json" "$target/"
    if ! (cd "$target" && npm ci --no-audit --no-fund --loglevel=error >&2); then
      rm -f "$target/package-lock.json"
      sdk_peer=(--no-sdk-peer="npm ci failed in $target (see its output above)")
      return
    fi
  fi
  sdk_peer=(--sdk-peer="$(cd "$target" && pwd)/vm_check.js")
}
sdk_peer=()
install_sdk_peer

echo
echo "== $(basename "$end_to_end")"
"$end_to_end" "${sdk_peer[@]}" "$@"
echo && echo "== quota_throttling" && "$bin/quota_throttling"
