#!/usr/bin/env bash
# Runs a Windows program of the cross-build under wine64, in a wine prefix of
# the project's own, quietly: no debug channels, no .NET or HTML installers.
# Usage: scripts/wine_run.sh PROGRAM.exe [ARGS...]
set -euo pipefail
wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(command -v wine64 || true)
[ -n "$wine" ] || { echo "wine_run: wine64 is not installed (scripts/deps.sh windows)" >&2; exit 127; }
export WINEPREFIX=${WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/effects-wine}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
# The prefix is made once, by one process at a time.
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$(dirname "$WINEPREFIX")"
  (
    flock 9
    [ -f "$WINEPREFIX/system.reg" ] || { "$wine" wineboot --init >/dev/null 2>&1; "${wine%64}server" -w; }
  ) 9>"$WINEPREFIX.lock"
fi
exec "$wine" "$@"
