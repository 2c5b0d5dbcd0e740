#!/usr/bin/env bash
# Checks the Windows programs as the loader of the oldest supported Windows
# (8.1 / Server 2012 R2) will see them:
#
#   windows-programs-test.sh OBJDUMP PROGRAM...
#
# - the import table names no function newer than Windows 8.1: the loader
#   refuses to start a program with one missing, before any of its code runs;
# - the manifest leaves the process's ANSI code page to the system (no
#   activeCodePage), since the module package hosted in the process uses it.
set -euo pipefail
objdump=$1
shift

# Windows 10 functions the programs use where present, looked up at run time.
newer=(GetDpiForWindow GetDpiForSystem SetThreadDpiAwarenessContext SystemParametersInfoForDpi
  AdjustWindowRectExForDpi GetCurrentThreadStackLimits GetSystemMetricsForDpi
  EnableNonClientDpiScaling GetThreadDpiAwarenessContext AreDpiAwarenessContextsEqual
  SetThreadDescription)

failures=0
for program in "$@"; do
  name=$(basename "$program")
  imports=$("$objdump" -p "$program")
  # Without the import table read, the look below would pass whatever it held.
  if ! grep -qi "DLL Name: kernel32.dll" <<<"$imports"; then
    echo "FAILED: $name: objdump shows no import from kernel32.dll" >&2
    failures=$((failures + 1))
    continue
  fi
  for function in "${newer[@]}"; do
    if grep -qE "^\s+[0-9a-f]+\s+[0-9]+\s+$function\$" <<<"$imports"; then
      echo "FAILED: $name imports $function, which Windows 8.1 does not have" >&2
      failures=$((failures + 1))
    fi
  done

  if ! grep -aq "requestedExecutionLevel" "$program"; then
    echo "FAILED: $name carries no manifest" >&2
    failures=$((failures + 1))
  elif grep -aq "activeCodePage" "$program"; then
    echo "FAILED: $name's manifest sets the process's code page (activeCodePage)" >&2
    failures=$((failures + 1))
  fi
done
[ "$failures" -eq 0 ] || exit 1
echo "checked: $*"
