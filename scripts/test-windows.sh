#!/usr/bin/env bash
# Builds the Windows program and its tests (scripts/build-windows.sh) and runs
# the tests under Wine against the same kinds of servers as the Linux tests,
# started natively on 127.0.0.1 by the host agent (tests/fixtures/host):
#
#   bash scripts/test-windows.sh BUILD_DIR [CTEST_ARGUMENT...]
#
# Arguments after BUILD_DIR go to CTest as they are (-R launcher_program_test
# runs one test program).
#
# Wine lives in a prefix of its own inside BUILD_DIR (BUILD_DIR/wine-prefix);
# its wineserver is kept running for the whole run and stopped at the end, as
# are the agent and the private X server (Xvfb) that gives the whole run a
# display for the Windows user interface's tests. CTest's output is also
# written to BUILD_DIR/ctest.log.
set -euo pipefail
if [ $# -lt 1 ]; then
  echo "usage: $0 BUILD_DIR [CTEST_ARGUMENT...]" >&2
  exit 2
fi
cd "$(dirname "$0")/.."
root=$(pwd)
mkdir -p "$1"
build=$(cd "$1" && pwd)
shift

# The deployment the tests serve on loopback, as scripts/test.sh gives the
# Linux builds. The CA file is named the Windows way, so that the program finds
# it whatever its working folder.
bash "$root/scripts/build-windows.sh" "$build" -DROTALIS_UPDATE_SERVER=127.0.0.1 \
  -DROTALIS_CLOUD_URL=https://127.0.0.1:8443/functions/v1/regras-por-cnpj \
  -DROTALIS_CLOUD_TOKEN=rotalis-test-token "-DROTALIS_CLOUD_CA_FILE=Z:$build/test-pki/ca.pem" \
  -DROTALIS_BUGTRACKER_URL=http://127.0.0.1:8080/erros

export WINEPREFIX=$build/wine-prefix WINEDEBUG=-all WINEDLLOVERRIDES=winemenubuilder.exe=d
wine64=/usr/lib/wine/wine64
[ -x "$wine64" ] || wine64=$(command -v wine64)

agent_pid=""
agent_input=""
xvfb_pid=""
cleanup() {
  local status=$?
  if [ -n "$agent_input" ]; then
    # Its input closing is the agent's stop signal; SIGTERM should that not do.
    exec {agent_input}>&-
  fi
  if [ -n "$agent_pid" ]; then
    local waited=0
    while kill -0 "$agent_pid" 2>/dev/null && [ $waited -lt 100 ]; do
      sleep 0.1
      waited=$((waited + 1))
    done
    kill -TERM "$agent_pid" 2>/dev/null || true
    wait "$agent_pid" 2>/dev/null || true
  fi
  # Only this prefix's wineserver: WINEPREFIX is set above.
  wineserver -k 2>/dev/null || true
  # After Wine: its processes are the X server's clients.
  if [ -n "$xvfb_pid" ]; then
    kill -TERM "$xvfb_pid" 2>/dev/null || true
    wait "$xvfb_pid" 2>/dev/null || true
  fi
  exit $status
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# The whole run, Wine's own desktop process included, has a display: a
# private X server on a display number it picks itself among the free ones
# and writes to fd 3 once it accepts clients. Programs that must run without
# one (the launcher's console runs) are started without DISPLAY.
rm -f "$build/xvfb.display"
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$build/xvfb.display" \
  </dev/null >"$build/xvfb.log" 2>&1 &
xvfb_pid=$!
for _ in $(seq 100); do
  [ -s "$build/xvfb.display" ] && break
  sleep 0.1
done
[ -s "$build/xvfb.display" ] || {
  echo "Xvfb did not start:" >&2
  cat "$build/xvfb.log" >&2
  exit 1
}
export DISPLAY=:$(cat "$build/xvfb.display")

# A first start creates the prefix (several seconds); later starts are quick
# only while a wineserver runs, and its background services must be up before
# CTest starts, or they keep CTest's output pipe open.
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  "$wine64" wineboot -i >"$build/wineboot.log" 2>&1
  # The server wineboot started stays a few seconds more; a persistent one can
  # only start once it has gone.
  wineserver -w
fi
wineserver -p </dev/null >/dev/null 2>&1
"$wine64" cmd /c exit >/dev/null 2>&1 </dev/null || true

# Wine draws the windows' frames and title bars itself, as Windows does: the X
# server runs no window manager to draw them, and waiting for one costs two
# seconds each time a window is hidden. Text is smoothed, as on Windows.
cat >"$build/wine-desktop.reg" <<'REG'
REGEDIT4

[HKEY_CURRENT_USER\Software\Wine\X11 Driver]
"Managed"="N"

[HKEY_CURRENT_USER\Control Panel\Desktop]
"FontSmoothing"="2"
"FontSmoothingType"=dword:00000002
"FontSmoothingGamma"=dword:00000578
"FontSmoothingOrientation"=dword:00000001
REG
"$wine64" regedit /S "Z:$build/wine-desktop.reg" >/dev/null 2>&1 </dev/null

# The host agent runs for as long as its input, a pipe from this script, stays
# open. Its log and the servers' stray output go to a file.
rm -f "$build/host-agent.port"
exec {agent_input}> >(exec python3 "$root/tests/fixtures/host/host_agent.py" \
  "$build/host-agent.port" >"$build/host-agent.log" 2>&1)
agent_pid=$!
for _ in $(seq 100); do
  [ -s "$build/host-agent.port" ] && break
  sleep 0.1
done
[ -s "$build/host-agent.port" ] || {
  echo "the host agent did not start:" >&2
  cat "$build/host-agent.log" >&2
  exit 1
}
export ROTALIS_HOST_AGENT=127.0.0.1:$(cat "$build/host-agent.port")

# The agent's input must not reach CTest and the tests: one of them holding it
# would keep the agent alive after this script.
ctest --test-dir "$build" --output-on-failure --timeout 900 "$@" {agent_input}>&- |
  tee "$build/ctest.log"
exit "${PIPESTATUS[0]}"
