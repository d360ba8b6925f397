#!/usr/bin/env bash
# Packs a Windows cross-build (make package-windows) into OUT_DIR (default
# WINDOWS_BUILD_DIR/packages), emptied of earlier packages first:
#   MicrosoftAzure-VERSION-windows-x64.zip          the two DLLs and sensor-host.exe, stripped, and
#                                                   the documents
#   MicrosoftAzure-VERSION-windows-x64-symbols.zip  each binary's symbols (NAME.debug), which the
#                                                   stripped binary names in its .gnu_debuglink
#   SHA256SUMS
#   package-windows.sh WINDOWS_BUILD_DIR [OUT_DIR]
set -euo pipefail
build=$(cd "${1:?usage: package-windows.sh WINDOWS_BUILD_DIR [OUT_DIR]}" && pwd)
out=${2:-$build/packages}
source_dir=$(cd "$(dirname "$0")/.." && pwd)
objcopy=x86_64-w64-mingw32-objcopy

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt" 2>/dev/null || true)
if [ -z "$version" ]; then
  echo "package-windows: $build is not a configured build (no project version in CMakeCache.txt); run make windows-configure" >&2
  exit 1
fi
binaries=(MicrosoftAzure.dll TikoHelper.dll sensor-host.exe)
for binary in "${binaries[@]}"; do
  if [ ! -f "$build/bin/$binary" ]; then
    echo "package-windows: $build/bin/$binary is missing; build it first (make package-windows)" >&2
    exit 1
  fi
done
for tool in "$objcopy" zip sha256sum; do
  if ! command -v "$tool" >/dev/null; then
    echo "package-windows: $tool is missing; run scripts/install-windows-deps.sh" >&2
    exit 1
  fi
done

name=MicrosoftAzure-$version-windows-x64
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
mkdir -p "$stage/$name/docs" "$stage/symbols" "$out"
rm -f "$out"/*.zip "$out"/SHA256SUMS

for binary in "${binaries[@]}"; do
  cp "$build/bin/$binary" "$stage/$name/$binary"
  # The symbols go beside, and the stripped binary names them, so that gdb finds them there.
  "$objcopy" --only-keep-debug "$stage/$name/$binary" "$stage/symbols/$binary.debug"
  "$objcopy" --strip-all "$stage/$name/$binary"
  (cd "$stage/symbols" && "$objcopy" --add-gnu-debuglink="$binary.debug" "$stage/$name/$binary")
done
cp "$source_dir/README.md" "$stage/$name/"
cp "$source_dir"/docs/*.md "$stage/$name/docs/"

(cd "$stage" && zip -qr -X "$out/$name.zip" "$name")
(cd "$stage/symbols" && zip -q -X "$out/$name-symbols.zip" -- *.debug)
(cd "$out" && sha256sum -- "$name.zip" "$name-symbols.zip" >SHA256SUMS)
echo "package-windows: $name.zip, $name-symbols.zip and SHA256SUMS in $out"
