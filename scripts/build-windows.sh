#!/usr/bin/env bash
# Cross-compiles the launcher for x86-64 Windows:
#
#   bash scripts/build-windows.sh BUILD_DIR [extra CMake arguments]
#
# Installs what it needs (Debian packages only; run as root), builds the Windows
# dependencies from Debian's source packages into a prefix that is reused while
# it is complete and made by the same recipe (ROTALIS_WINDOWS_PREFIX, default
# ~/.cache/rotalis/mingw-w64-prefix), then configures and builds BUILD_DIR with
# mingw-w64: rotalis.exe, Modulos/mrotalis.bpl and the test programs. The extra
# arguments reach CMake, so the deployment settings are given as on Linux
# (-DROTALIS_UPDATE_SERVER=… and the rest; the build refuses to configure
# without them).
#
# It then lays out what a deployment ships (scripts/package-windows.sh):
# BUILD_DIR/release/app/ holds the files to copy into the ERP's application
# folder, and BUILD_DIR/release/rotalis-<version>-windows-x86_64.zip the same
# files zipped. The programs in both are signed with the publisher's
# certificate when the build is given -DROTALIS_CODESIGN_PFX=<file.pfx> and
# -DROTALIS_CODESIGN_PASSWORD_FILE=<file> (and, optionally,
# -DROTALIS_CODESIGN_TIMESTAMP_URL=<time-stamp server>); otherwise the release
# is unsigned and the build says so.
set -euo pipefail
if [ $# -lt 1 ]; then
  echo "usage: $0 BUILD_DIR [extra CMake arguments]" >&2
  exit 2
fi
cd "$(dirname "$0")/.."
root=$(pwd)
build=$1
shift

prefix=${ROTALIS_WINDOWS_PREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/rotalis/mingw-w64-prefix}
bash "$root/scripts/windows-deps.sh" "$prefix"

cmake -S "$root" -B "$build" -G Ninja \
  -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
  -DROTALIS_WINDOWS_PREFIX="$prefix" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build "$build"

setting() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
signing=()
if [ -n "$(setting ROTALIS_CODESIGN_PFX)" ]; then
  signing=("$(setting ROTALIS_CODESIGN_PFX)" "$(setting ROTALIS_CODESIGN_PASSWORD_FILE)"
    "$(setting ROTALIS_CODESIGN_TIMESTAMP_URL)")
fi
bash "$root/scripts/package-windows.sh" "$build" "$build/release" "${signing[@]}"
