#!/usr/bin/env bash
# Runs a Windows program under Wine with the prefix PREFIX (created on first
# use) and Wine's messages off.
#
#   cmake/windows/wine.sh PREFIX PROGRAM [ARGS...]    run PROGRAM
#   cmake/windows/wine.sh PREFIX --start              create the prefix, start a wineserver
#   cmake/windows/wine.sh PREFIX --stop               stop that wineserver
set -euo pipefail
export WINEPREFIX=$1
shift
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
wine=${LUMORA_WINE64:-/usr/lib/wine/wine64}
server=${LUMORA_WINESERVER:-/usr/lib/wine/wineserver}
case ${1:-} in
  --start)
    mkdir -p "$WINEPREFIX"
    # A persistent server spares every test Wine's start-up; its standard
    # streams must not hold the caller's pipes open.
    "$server" -p </dev/null >/dev/null 2>&1 || true  # one may be running already
    # The first program under a new server starts Wine's services, which
    # inherit its streams: let that be wineboot, with none of the caller's.
    "$wine" wineboot --init </dev/null >/dev/null 2>&1
    exit 0 ;;
  --stop)
    "$server" -k </dev/null >/dev/null 2>&1 || true
    exit 0 ;;
esac
exec "$wine" "$@"
