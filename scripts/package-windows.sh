#!/usr/bin/env bash
# Lays out what a deployment ships from a Windows build folder:
#
#   bash scripts/package-windows.sh BUILD_DIR OUT_DIR [PFX PASSWORD_FILE [TIMESTAMP_URL]]
#
# OUT_DIR/app/ gets the files to copy into the ERP's application folder
# (cmake --install, programs stripped) and OUT_DIR/rotalis-<version>-windows-x86_64.zip
# the same files zipped. Given the publisher's code-signing certificate (a
# PKCS#12 file and a file holding its password), every program and library in
# app/ is signed with it first (Authenticode, with osslsigncode), and
# time-stamped when a time-stamp server (RFC 3161) is named. Without one the
# release is unsigned, and this says so. scripts/build-windows.sh calls it with
# the build's ROTALIS_CODESIGN_* settings.
set -euo pipefail
if [ $# -lt 2 ] || [ $# -eq 3 ] || [ $# -gt 5 ]; then
  echo "usage: $0 BUILD_DIR OUT_DIR [PFX PASSWORD_FILE [TIMESTAMP_URL]]" >&2
  exit 2
fi
build=$1
out=$2
pfx=${3:-}
password_file=${4:-}
timestamp_url=${5:-}

rm -rf "$out"
mkdir -p "$out"
cmake --install "$build" --prefix "$out/app" --strip >/dev/null

if [ -n "$pfx" ]; then
  if ! command -v osslsigncode >/dev/null; then
    echo "signing the release needs osslsigncode (Debian package osslsigncode)" >&2
    exit 1
  fi
  timestamp=()
  [ -z "$timestamp_url" ] || timestamp=(-ts "$timestamp_url")
  # The symbol tables need no signature: they name addresses relative to the
  # image base, which signing leaves alone (it appends the certificate table
  # and rewrites the header's checksum and certificate entry).
  while IFS= read -r -d '' program; do
    osslsigncode sign -pkcs12 "$pfx" -readpass "$password_file" -h sha256 -n Rotalis \
      "${timestamp[@]}" -in "$program" -out "$program.signed" >"$out/sign.log" 2>&1 || {
      echo "signing $program failed:" >&2
      cat "$out/sign.log" >&2
      rm -f "$program.signed"
      exit 1
    }
    mv "$program.signed" "$program"
  done < <(find "$out/app" -type f \( -iname '*.exe' -o -iname '*.dll' -o -iname '*.bpl' \) -print0)
  rm -f "$out/sign.log"
  echo "release signed with $(basename "$pfx")"
else
  echo "release NOT signed: no ROTALIS_CODESIGN_PFX and ROTALIS_CODESIGN_PASSWORD_FILE given"
fi

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
(cd "$out/app" && cmake -E tar cf "../rotalis-$version-windows-x86_64.zip" --format=zip .)
