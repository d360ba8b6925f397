#!/usr/bin/env bash
# Installs what the Windows cross-build and its tests need beside the Linux build's packages:
# mingw-w64's POSIX-thread compilers, GoogleTest's sources (built with them), Wine, and zip for
# the Windows package.
# Idempotent: a machine that already has everything is left untouched.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

# The Linux build's packages and jsoncons come too: the cross-build uses them.
"$here/install-deps.sh" \
  g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 \
  googletest \
  wine wine64 \
  zip
