#!/usr/bin/env bash
# The Debian packages as a user gets them: packed from this build into a scratch folder, unpacked
# into a scratch root with dpkg-deb -x (the machine itself is not touched) and run from there. The
# installed sensor host must load the installed module and framework, never the build tree's.
#   package_test.sh SOURCE_DIR BUILD_DIR VERSION
set -euo pipefail
test_name="package test"
# shellcheck source=tests/deploy/scratch.sh
. "$(dirname "$0")/scratch.sh" "$@"
version=$3
root=$work/root
prefix=$root/opt/microsoftazure

"$source_dir/scripts/package.sh" "$build" "$work/packages" >/dev/null
cd "$work/packages"
sha256sum --quiet -c SHA256SUMS || fail "SHA256SUMS does not match the packages"
for name in microsoftazure microsoftazure-tools microsoftazure-dbgsym microsoftazure-tools-dbgsym; do
  deb=${name}_${version}_amd64.deb
  [ -f "$deb" ] || fail "$deb is missing; made: $(ls)"
  dpkg-deb -x "$deb" "$root"
done
depends=$(dpkg-deb -f "microsoftazure_${version}_amd64.deb" Depends)
for needed in "libcurl4 (>= 7.85.0)" "libssl3" "libstdc++6"; do
  [[ $depends == *"$needed"* ]] || fail "the module's package does not depend on $needed: $depends"
done
[[ $(dpkg-deb -f "microsoftazure-tools_${version}_amd64.deb" Depends) == *"microsoftazure (= $version)"* ]] ||
  fail "the tools' package does not depend on the module's of the same version"

# Stripped, each with its debug information where gdb looks for it by build id.
for library in libMicrosoftAzure.so libTikoHelper.so; do
  file -L "$prefix/lib/$library" | grep -q ', stripped' || fail "$library is not stripped"
  id=$(readelf -n "$prefix/lib/$library" | awk '/Build ID/ { print $3 }')
  [ -f "$root/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" ] ||
    fail "no debug information for $library (build id $id)"
done
readelf -d "$prefix/lib/libMicrosoftAzure.so" | grep -q 'RUNPATH.*\[\$ORIGIN\]' ||
  fail "the module's RUNPATH is not \$ORIGIN: $(readelf -d "$prefix/lib/libMicrosoftAzure.so" | grep -i path)"
gdb -batch -nx -ex "set debug-file-directory $root/usr/lib/debug" \
  -ex "file $prefix/lib/libMicrosoftAzure.so" -ex "info line InitializeModule" 2>&1 |
  grep -q 'Line [0-9]* of "' || fail "gdb does not find the module's debug information by build id"

# The installed tools against the installed emulator, each library loaded from the scratch root.
eval "$("$prefix/bin/azure-emulator" --background --print-env)"
credentials=$prefix/share/scenarios/default-credentials.json
host() {
  LD_DEBUG=libs "$prefix/bin/sensor-host" --state "$work/state.json" "$@" 2>"$work/loader.out" ||
    fail "sensor-host $* failed: $(grep -v '^ *[0-9]*:' "$work/loader.out")"
  sed 's|/bin/\.\./lib/|/lib/|' "$work/loader.out" >"$work/loader.log"
  for library in libMicrosoftAzure.so libTikoHelper.so; do
    grep -q "calling init: $prefix/lib/$library" "$work/loader.log" ||
      fail "sensor-host $1 did not load $prefix/lib/$library: $(grep 'calling init' "$work/loader.log")"
  done
  if grep -q "calling init: $build/" "$work/loader.log"; then
    fail "sensor-host $1 loaded from the build tree: $(grep "calling init: $build/" "$work/loader.log")"
  fi
}
host info >"$work/info.out"
grep -q "^Module $prefix/bin/../lib/libMicrosoftAzure.so (API level 5)" "$work/info.out" ||
  fail "sensor-host info does not name the installed module: $(head -1 "$work/info.out")"
host discover virtual_machine_metascan --credentials "$credentials" >/dev/null
host check virtual_machine_sensor --credentials "$credentials" --from-row 1 >"$work/check.out"
grep -q "calling init: .*/libcurl.so.4" "$work/loader.log" || fail "the check did not open libcurl"
grep -q "Result: *OK" "$work/check.out" || fail "the check failed: $(cat "$work/check.out")"
