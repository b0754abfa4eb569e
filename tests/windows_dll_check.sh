#!/usr/bin/env bash
# effects.dll exports plugin_main alone, and it and fxhost.exe import only
# Windows' own DLLs: no MinGW runtime has to travel with them.
# Usage: windows_dll_check.sh OBJDUMP DLL [EXE...]
set -euo pipefail
objdump=$1 dll=$2
shift 2
system='^(KERNEL32|msvcrt|ADVAPI32|USER32|ntdll|bcrypt|WS2_32|SHELL32|ole32)\.dll$'
fail=0

exports=$("$objdump" -p "$dll" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -n 's/^\s*\[ *[0-9]*\] //p')
if [ "$exports" != plugin_main ]; then
  echo "FAIL: $(basename "$dll") exports: ${exports:-nothing}" | tr '\n' ' '; echo
  fail=1
fi
for file in "$dll" "$@"; do
  imports=$("$objdump" -p "$file" | sed -n 's/^\s*DLL Name: //p')
  [ -n "$imports" ] || { echo "FAIL: $(basename "$file"): no import table read"; fail=1; }
  for name in $imports; do
    [[ $name =~ $system ]] || { echo "FAIL: $(basename "$file") needs $name"; fail=1; }
  done
  echo "$(basename "$file"): $(stat -c %s "$file") bytes, imports" $imports
done
exit $fail
