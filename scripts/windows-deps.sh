#!/usr/bin/env bash
# Builds the libraries the Windows (x86-64, mingw-w64) build links against into PREFIX:
# MariaDB Connector/C, libcurl, libsodium, GoogleTest, nlohmann-json, all static.
#
#   scripts/windows-deps.sh PREFIX
#
# Debian ships mingw builds only of zlib, so the rest is built from Debian's own source
# packages. A finished prefix holds a stamp with the hash of this script and of the toolchain
# file; while they match, a second run does nothing. Runs as root (apt-get).
#
# A CMake project configured with cmake/mingw-w64-x86_64.cmake and
# -DROTALIS_WINDOWS_PREFIX=PREFIX then finds:
#   find_package(RotalisCurl REQUIRED)     -> CURL::libcurl (static, Schannel, HTTP only, zlib)
#   find_package(RotalisMariaDB REQUIRED)  -> Rotalis::mariadbclient (static, Schannel)
#   find_package(RotalisSodium REQUIRED)   -> Rotalis::sodium (static)
#   find_package(GTest REQUIRED)           -> GTest::gtest, GTest::gtest_main, GTest::gmock, ...
#   find_package(nlohmann_json REQUIRED)   -> nlohmann_json::nlohmann_json
set -euo pipefail

say() { printf 'windows-deps: [%4ds] %s\n' "$SECONDS" "$*"; }
die() { echo "windows-deps: ERROR: $*" >&2; exit 1; }

[ $# -eq 1 ] || die "usage: $0 PREFIX"
[ "$(id -u)" -eq 0 ] || die "must run as root (it installs Debian packages)"

PREFIX=$(realpath -m -- "$1")
case "$PREFIX" in
  / | /usr | /usr/local | /opt | "$HOME") die "refusing to use $PREFIX as the prefix" ;;
esac
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
toolchain="$root/cmake/mingw-w64-x86_64.cmake"
[ -f "$toolchain" ] || die "toolchain file $toolchain not found"
triplet=x86_64-w64-mingw32
sysroot=/usr/$triplet
# Sources come from this Debian release; the security suite may carry newer versions whose
# files are not all on the mirror.
suite=bookworm

# Everything that decides what lands in the prefix: a change to either rebuilds it.
want_stamp=$(cat "${BASH_SOURCE[0]}" "$toolchain" | sha256sum | cut -d' ' -f1)
stamp="$PREFIX/.rotalis-windows-deps.stamp"
marker="$PREFIX/.rotalis-windows-deps.building"

# ---------------------------------------------------------------------------------------------
# Debian packages
export DEBIAN_FRONTEND=noninteractive
packages=(
  g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 libz-mingw-w64-dev
  googletest nlohmann-json3-dev
  dpkg-dev cmake ninja-build make patch xz-utils ca-certificates
  autoconf automake libtool
)
missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  say "installing ${missing[*]}"
  apt_log=$(mktemp)
  if ! { apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}"; } \
    >"$apt_log" 2>&1; then
    tail -n 40 "$apt_log" >&2
    rm -f "$apt_log"
    die "installing Debian packages failed"
  fi
  rm -f "$apt_log"
fi

# One build of a prefix at a time.
mkdir -p "$(dirname "$PREFIX")"
exec 9>"$PREFIX.lock"
flock 9

if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want_stamp" ]; then
  say "$PREFIX is up to date"
  exit 0
fi

# Only ever wipe a folder this script made.
if [ -e "$PREFIX" ]; then
  if [ -n "$(ls -A "$PREFIX")" ] && [ ! -f "$stamp" ] && [ ! -f "$marker" ]; then
    die "$PREFIX exists, is not empty and was not made by this script; remove it or pick another"
  fi
  rm -rf "$PREFIX"
fi
mkdir -p "$PREFIX"
touch "$marker"

work="$PREFIX.work"
rm -rf "$work"
mkdir -p "$work/logs" "$work/src"
say "building into $PREFIX (logs in $work/logs)"
started=$SECONDS

# run LOG COMMAND...: the command's output goes to LOG; on failure its tail is shown.
run() {
  local log="$work/logs/$1.log"
  shift
  if ! "$@" >>"$log" 2>&1; then
    echo "windows-deps: ERROR: step failed: $*" >&2
    echo "---- last lines of $log ----" >&2
    tail -n 40 "$log" >&2
    exit 1
  fi
}

jobs=2
# pkg-config must see Windows libraries only, never the build machine's.
export PKG_CONFIG_LIBDIR="$PREFIX/lib/pkgconfig:$sysroot/lib/pkgconfig"
export PKG_CONFIG_PATH=
export ROTALIS_WINDOWS_PREFIX="$PREFIX"

# The toolchain file makes FindZLIB take this archive, not the import library of zlib1.dll.
[ -f "$sysroot/lib/libz.a" ] || die "$sysroot/lib/libz.a missing (libz-mingw-w64-dev)"

# cmake_build NAME SOURCE_DIR [--target T --component C] CMAKE_ARGS...: configure, build and
# install (only target T and install component C when given).
cmake_build() {
  local name=$1 src=$2 target=() component=()
  shift 2
  if [ "${1:-}" = --target ]; then
    target=(--target "$2")
    component=(--component "$4")
    shift 4
  fi
  say "$name: configure"
  run "$name" cmake -S "$src" -B "$work/build-$name" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DROTALIS_WINDOWS_PREFIX="$PREFIX" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$PREFIX" "$@"
  say "$name: build"
  run "$name" cmake --build "$work/build-$name" -j "$jobs" "${target[@]}"
  run "$name" cmake --install "$work/build-$name" "${component[@]}"
}

# ---------------------------------------------------------------------------------------------
# Debian source packages
# (Output captured first: grep -q closing the pipe early would fail the pipeline.)
showsrc=$(apt-cache showsrc -q curl 2>/dev/null || true)
if ! grep -q '^Package: curl$' <<<"$showsrc"; then
  if ! grep -rqs '^Types:.*deb-src' /etc/apt/sources.list.d/ &&
    ! grep -qs '^deb-src' /etc/apt/sources.list; then
    [ -f /etc/apt/sources.list.d/debian.sources ] ||
      die "no /etc/apt/sources.list.d/debian.sources to derive a deb-src entry from"
    sed 's/^Types: deb$/Types: deb-src/' /etc/apt/sources.list.d/debian.sources \
      >/etc/apt/sources.list.d/rotalis-deb-src.sources
  fi
  say "fetching Debian source indexes"
  run apt apt-get update -q
fi
say "fetching Debian sources of mariadb, curl, libsodium"
(cd "$work/src" &&
  run apt apt-get source --download-only -o APT::Sandbox::User=root -t "$suite" \
    mariadb curl libsodium)

# unpack PKG DEST [STOP_PATCH]: the upstream tarball with Debian's patches applied in order,
# up to but not including STOP_PATCH.
unpack() {
  local pkg=$1 dest=$2 stop=${3:-} p
  local orig=("$work/src/${pkg}"_*.orig.tar.?z) debian=("$work/src/${pkg}"_*.debian.tar.?z)
  [ -f "${orig[0]}" ] && [ -f "${debian[0]}" ] || die "no Debian source of $pkg was fetched"
  mkdir -p "$dest"
  run "unpack-$pkg" tar -xf "${orig[0]}" -C "$dest" --strip-components=1
  run "unpack-$pkg" tar -xf "${debian[0]}" -C "$dest"
  [ -f "$dest/debian/patches/series" ] || return 0
  while read -r p _; do
    case "$p" in "" | \#*) continue ;; esac
    [ "$p" = "$stop" ] && break
    run "unpack-$pkg" patch -d "$dest" -p1 --batch --forward -i "debian/patches/$p"
  done <"$dest/debian/patches/series"
}

# ---------------------------------------------------------------------------------------------
# MariaDB Connector/C: the libmariadb/ folder of the server's source. None of Debian's mariadb
# patches touch it.
build_mariadb() {
say "mariadb: unpack"
mkdir -p "$work/mariadb"
run unpack-mariadb tar -xf "$(ls "$work"/src/mariadb_*.orig.tar.gz)" -C "$work/mariadb" \
  --strip-components=1 --wildcards '*/libmariadb/*'
# Without _WIN32_WINNT at Windows 10, Schannel's certificate chain engine is set up with a
# structure size Wine (and old Windows) reject: TLS with a CA file then fails.
# Only the static library and headers: the DLL and the plugin DLLs would double the time.
# Connector/C looks for curl even without WITH_CURL and, once the other lane has installed
# it here, compiles its remote-file support against headers it does not put on the path:
# REMOTEIO_PLUGIN_TYPE=OFF keeps the build the same whichever lane is first.
# The login methods a server may ask for are built into the library: a plugin left dynamic
# would be looked for as a DLL that no workstation has (the server decides the method, per
# account: MySQL 8 defaults to caching_sha2_password, MariaDB offers ed25519 and PAM).
auth_plugins=(caching_sha2_password sha256_password client_ed25519 dialog mysql_clear_password)
plugin_options=()
for plugin in "${auth_plugins[@]}"; do
  plugin_options+=("-DCLIENT_PLUGIN_${plugin^^}=STATIC")
done
cmake_build mariadb "$work/mariadb/libmariadb" --target mariadbclient --component Development \
  -DWITH_SSL=SCHANNEL -DWITH_UNIT_TESTS=OFF -DWITH_CURL=OFF \
  -DWITH_EXTERNAL_ZLIB=ON "${plugin_options[@]}" \
  -DREMOTEIO_PLUGIN_TYPE=OFF \
  -DCMAKE_C_FLAGS=-D_WIN32_WINNT=0x0A00
[ -f "$PREFIX/lib/mariadb/libmariadbclient.a" ] || die "libmariadbclient.a was not installed"
# The generated list of built-in plugins is what the client registers at start.
for plugin in "${auth_plugins[@]}"; do
  grep -q "&${plugin}_client_plugin," "$work/build-mariadb/libmariadb/ma_client_plugin.c" ||
    die "Connector/C did not build the $plugin login plugin in"
done
# A plugin folder under the prefix compiled into the client would be searched on every
# workstation. (The source folder, "$PREFIX.work/...", does appear: a source file's name
# in an assertion text, never a place the client looks.)
! grep -qaF "$PREFIX/" "$PREFIX/lib/mariadb/libmariadbclient.a" ||
  die "libmariadbclient.a names a folder of this machine ($PREFIX/)"
[ -f "$PREFIX/include/mariadb/mysql.h" ] || die "mysql.h was not installed"

mkdir -p "$PREFIX/lib/cmake/RotalisMariaDB"
cat >"$PREFIX/lib/cmake/RotalisMariaDB/RotalisMariaDBConfig.cmake" <<'EOF'
# MariaDB Connector/C, static, with Schannel TLS. Its own install has no CMake package.
get_filename_component(_rotalis_prefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
include(CMakeFindDependencyMacro)
# Debian's mingw zlib also ships an import library for zlib1.dll; link the archive.
if(NOT DEFINED ZLIB_USE_STATIC_LIBS)
  set(ZLIB_USE_STATIC_LIBS ON)
endif()
find_dependency(ZLIB)
if(NOT TARGET Rotalis::mariadbclient)
  add_library(Rotalis::mariadbclient STATIC IMPORTED)
  set_target_properties(Rotalis::mariadbclient PROPERTIES
    IMPORTED_LOCATION "${_rotalis_prefix}/lib/mariadb/libmariadbclient.a"
    INTERFACE_INCLUDE_DIRECTORIES "${_rotalis_prefix}/include/mariadb"
    INTERFACE_LINK_LIBRARIES
      "ZLIB::ZLIB;ws2_32;advapi32;shlwapi;crypt32;secur32;bcrypt")
endif()
unset(_rotalis_prefix)
EOF
}

# ---------------------------------------------------------------------------------------------
# libcurl. Debian's patches from 90_gnutls on rename the library for its other TLS builds.
build_curl() {
say "curl: unpack"
unpack curl "$work/curl" 90_gnutls.patch
cmake_build curl "$work/curl" \
  -DBUILD_SHARED_LIBS=OFF -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF \
  -DCURL_USE_SCHANNEL=ON -DCURL_USE_OPENSSL=OFF -DHTTP_ONLY=ON \
  -DCURL_USE_LIBSSH2=OFF -DUSE_LIBIDN2=OFF -DUSE_NGHTTP2=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF \
  -DCURL_ZLIB=ON \
  -DENABLE_MANUAL=OFF
[ -f "$PREFIX/lib/libcurl.a" ] || die "libcurl.a was not installed"

# curl's own package already gives CURL::libcurl CURL_STATICLIB, ws2_32, crypt32, bcrypt,
# advapi32 and ZLIB::ZLIB. Two gaps: its find_dependency(ZLIB) would pick the import library
# of zlib1.dll, and secur32 is missing (this curl loads it at run time, newer ones link it).
curl_config="$PREFIX/lib/cmake/CURL/CURLConfig.cmake"
grep -q '^include(CMakeFindDependencyMacro)$' "$curl_config" ||
  die "unexpected $curl_config: cannot make its zlib static"
sed -i 's/^include(CMakeFindDependencyMacro)$/&\
# Added for the static Windows build: link zlib'"'"'s archive, not zlib1.dll.\
if(NOT DEFINED ZLIB_USE_STATIC_LIBS)\
  set(ZLIB_USE_STATIC_LIBS ON)\
endif()/' "$curl_config"
cat >>"$curl_config" <<'EOF'
# Added for the static Windows build.
get_target_property(_rotalis_curl_libs CURL::libcurl INTERFACE_LINK_LIBRARIES)
if(NOT secur32 IN_LIST _rotalis_curl_libs)
  set_property(TARGET CURL::libcurl APPEND PROPERTY INTERFACE_LINK_LIBRARIES secur32)
endif()
unset(_rotalis_curl_libs)
EOF

# The name the project asks for, so that its Windows build cannot fall back to another curl.
mkdir -p "$PREFIX/lib/cmake/RotalisCurl"
cat >"$PREFIX/lib/cmake/RotalisCurl/RotalisCurlConfig.cmake" <<'EOF'
# libcurl, static, Schannel, HTTP only, with zlib: CURL::libcurl.
include(CMakeFindDependencyMacro)
find_dependency(CURL CONFIG PATHS "${CMAKE_CURRENT_LIST_DIR}/../CURL"
                NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
EOF
}

# ---------------------------------------------------------------------------------------------
# libsodium. Debian's tarball is the release tag without a generated configure.
build_sodium() {
say "libsodium: unpack"
unpack libsodium "$work/sodium"
say "libsodium: configure"
(cd "$work/sodium" && run sodium autoreconf -fi)
# No stack protector: with mingw it needs libssp in every program that links libsodium.
(cd "$work/sodium" && run sodium ./configure --host="$triplet" --prefix="$PREFIX" \
  CC="$triplet-gcc-posix" --disable-shared --enable-static --disable-ssp \
  --disable-dependency-tracking --disable-pie)
say "libsodium: build"
run sodium make -C "$work/sodium" -j "$jobs"
run sodium make -C "$work/sodium" install
[ -f "$PREFIX/lib/libsodium.a" ] || die "libsodium.a was not installed"

mkdir -p "$PREFIX/lib/cmake/RotalisSodium"
cat >"$PREFIX/lib/cmake/RotalisSodium/RotalisSodiumConfig.cmake" <<'EOF'
# libsodium, static. Without SODIUM_STATIC its headers declare every function dllimport.
get_filename_component(_rotalis_prefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
if(NOT TARGET Rotalis::sodium)
  add_library(Rotalis::sodium STATIC IMPORTED)
  set_target_properties(Rotalis::sodium PROPERTIES
    IMPORTED_LOCATION "${_rotalis_prefix}/lib/libsodium.a"
    INTERFACE_INCLUDE_DIRECTORIES "${_rotalis_prefix}/include"
    INTERFACE_COMPILE_DEFINITIONS "SODIUM_STATIC"
    INTERFACE_LINK_LIBRARIES "advapi32")
endif()
unset(_rotalis_prefix)
EOF
}

# ---------------------------------------------------------------------------------------------
# GoogleTest
build_googletest() {
[ -f /usr/src/googletest/CMakeLists.txt ] || die "/usr/src/googletest missing (googletest)"
cmake_build googletest /usr/src/googletest -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON
[ -f "$PREFIX/lib/cmake/GTest/GTestConfig.cmake" ] || die "GoogleTest's CMake package missing"
}

# ---------------------------------------------------------------------------------------------
# nlohmann-json: header only. Its package must live in the prefix: found in /usr/share/cmake
# it would add -I/usr/include, and glibc's headers break the Windows build.
copy_nlohmann() {
say "nlohmann-json: copy"
mkdir -p "$PREFIX/include" "$PREFIX/share/cmake"
cp -a /usr/include/nlohmann "$PREFIX/include/"
cp -a /usr/share/cmake/nlohmann_json "$PREFIX/share/cmake/"
}

# ---------------------------------------------------------------------------------------------
# Two lanes side by side: curl's configure step alone takes close to two minutes on one core,
# and the other builds fill the second one meanwhile. Each lane gets its own process group
# (job control), so that a failure in one stops the other with all its compilers.
set -m
build_curl &
lanes=($!)
{ build_mariadb; build_sodium; build_googletest; copy_nlohmann; } &
lanes+=($!)
set +m
stop_lanes() {
  local pid
  for pid in "${lanes[@]}"; do kill -- "-$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
}
trap 'stop_lanes; exit 130' INT TERM
for _ in "${lanes[@]}"; do
  if ! wait -n; then
    stop_lanes
    die "building $PREFIX failed (logs in $work/logs)"
  fi
done
trap - INT TERM

# ---------------------------------------------------------------------------------------------
rm -rf "$PREFIX/share/doc" "$PREFIX/share/man" "$PREFIX/share/aclocal" "$PREFIX/lib/libsodium.la"
rm -rf "$work"
rm -f "$marker"
echo "$want_stamp" >"$stamp"
say "done in $((SECONDS - started)) s: $PREFIX ($(du -sh "$PREFIX" | cut -f1))"
