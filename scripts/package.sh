#!/usr/bin/env bash
# Packs a Linux build into Debian packages (make package): the module and the tools, each with a
# -dbgsym package of its debug information, and SHA256SUMS, in OUT_DIR (default
# BUILD_DIR/packages), which is emptied of earlier packages first. The build must be configured
# and its module, framework, sensor host and emulator built.
#   package.sh BUILD_DIR [OUT_DIR]
set -euo pipefail
build=$(cd "${1:?usage: package.sh BUILD_DIR [OUT_DIR]}" && pwd)
out=${2:-$build/packages}

if [ ! -f "$build/CPackConfig.cmake" ]; then
  echo "package: $build has no CPackConfig.cmake; configure it first (make configure)" >&2
  exit 1
fi
for tool in dpkg-deb dpkg-shlibdeps objcopy readelf file sha256sum; do
  if ! command -v "$tool" >/dev/null; then
    echo "package: $tool is missing; install dpkg-dev, binutils and file (scripts/install-deps.sh)" >&2
    exit 1
  fi
done

mkdir -p "$out"
rm -f "$out"/*.deb "$out"/*.ddeb "$out"/SHA256SUMS
# CPack's own work folder goes inside OUT_DIR too, so that a scratch OUT_DIR leaves the build as
# it was.
if ! (cd "$build" && cpack --config CPackConfig.cmake -B "$out" >"$out/cpack.log" 2>&1); then
  echo "package: cpack failed; its output:" >&2
  cat "$out/cpack.log" >&2
  exit 1
fi
rm -rf "$out/_CPack_Packages" "$out/cpack.log"

# CPack names debug packages .ddeb (Ubuntu's convention); Debian's -dbgsym packages are .deb.
for ddeb in "$out"/*.ddeb; do
  [ -e "$ddeb" ] || break
  mv "$ddeb" "${ddeb%.ddeb}.deb"
done

(cd "$out" && sha256sum -- *.deb >SHA256SUMS)
echo "package: $(cd "$out" && ls -- *.deb | tr '\n' ' ')and SHA256SUMS in $out"
