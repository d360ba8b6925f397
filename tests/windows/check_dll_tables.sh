#!/usr/bin/env bash
# What a probe's folder needs of the two DLLs, read from their PE tables: MicrosoftAzure.dll
# exports exactly the nine entry points, and neither DLL imports anything beyond Windows' own
# DLLs (and, for the module, TikoHelper.dll): the C++ runtime, libgcc and winpthreads are linked
# in, not shipped beside them.
# usage: check_dll_tables.sh OBJDUMP MicrosoftAzure.dll TikoHelper.dll
set -euo pipefail
objdump=$1
module=$2
helper=$3

system_dlls="kernel32.dll msvcrt.dll winhttp.dll crypt32.dll bcrypt.dll advapi32.dll ws2_32.dll user32.dll"
failed=0

imports() {
  "$objdump" -p "$1" | awk '/DLL Name:/ { print tolower($3) }' | sort -u
}

check_imports() {
  local dll=$1 allowed=$2
  local name
  for name in $(imports "$dll"); do
    if ! grep -qw -- "$name" <<<"$allowed"; then
      echo "FAIL: $(basename "$dll") imports $name, which a probe's folder does not hold"
      failed=1
    fi
  done
  echo "$(basename "$dll") imports: $(imports "$dll" | tr '\n' ' ')"
}

check_imports "$module" "$system_dlls tikohelper.dll"
check_imports "$helper" "$system_dlls"

# The name table lists "[ordinal] Name" lines (the address table's lines carry more fields).
exports=$("$objdump" -p "$module" | grep -E '^\s+\[ *[0-9]+\] [A-Za-z_][A-Za-z0-9_@]*$' |
  awk '{ print $NF }' | sort | tr '\n' ' ')
expected="CleanupModule CreateSensorInstance DestroySensorInstance ExecuteCheck ExecuteMetaScan ExecuteSensorScan GetApiLevel GetModuleInformation InitializeModule "
echo "$(basename "$module") exports: $exports"
if [ "$exports" != "$expected" ]; then
  echo "FAIL: $(basename "$module") must export exactly: $expected"
  failed=1
fi
exit $failed
