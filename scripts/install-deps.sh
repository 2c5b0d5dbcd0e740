#!/usr/bin/env bash
# Installs everything the build, the tests and the demo need on Debian 12 (the
# Windows build installs its cross toolchain itself: scripts/windows-deps.sh).
set -euo pipefail
if [ "$(id -u)" -ne 0 ]; then
  echo "install-deps.sh must run as root (it calls apt-get)" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
packages=(
  build-essential cmake ninja-build pkg-config binutils clang clang-format
  libclang-rt-14-dev libfuzzer-14-dev
  libmariadb-dev mariadb-server mariadb-client
  libcurl4-openssl-dev nlohmann-json3-dev libgtest-dev libgmock-dev
  libsodium-dev minisign osslsigncode
  qt6-base-dev libgl-dev xvfb xauth
  libdw-dev
  nginx-light tinyproxy-bin openssl python3 ca-certificates curl procps locales cloc
  wine wine64
  gcc-mingw-w64-i686-posix  # only builds the 32-bit package the Windows tests refuse
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The users' locale, for the tests of orders people sort names in.
if ! locale -a 2>/dev/null | grep -qi '^pt_BR\.utf-\?8$'; then
  sed -i 's/^# *\(pt_BR\.UTF-8 UTF-8\)/\1/' /etc/locale.gen
  grep -q '^pt_BR\.UTF-8 UTF-8' /etc/locale.gen || echo 'pt_BR.UTF-8 UTF-8' >>/etc/locale.gen
  locale-gen >/dev/null
fi
