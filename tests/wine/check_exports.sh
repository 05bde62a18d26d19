#!/usr/bin/env bash
# Checks that a cross-built Setup.dll exports exactly one name, "Action".
#   check_exports.sh OBJDUMP DLL
# Exit 77 (skipped) when the DLL or objdump is missing.
set -u
objdump=$1
dll=$2

if [ ! -f "$dll" ]; then
  echo "SKIPPED: $dll has not been built"
  exit 77
fi
if ! command -v "$objdump" >/dev/null 2>&1; then
  echo "SKIPPED: $objdump is not installed"
  exit 77
fi

# The export names are the lines of the "[Ordinal/Name Pointer] Table" block.
names=$("$objdump" -p "$dll" |
  awk '/^\[Ordinal\/Name Pointer\] Table/ { inside = 1; next }
       inside && /^[[:space:]]*\[/ { print $NF; next }
       inside { inside = 0 }')

if [ "$names" != "Action" ]; then
  echo "expected exactly one export named Action in $dll, found:"
  printf '%s\n' "${names:-<none>}"
  exit 1
fi
echo "$dll exports exactly: Action"
