#!/bin/sh
# run-under-wine.sh WINE PREFIX PROGRAM [ARGUMENT...]
# run-under-wine.sh WINE PREFIX --keep
#
# Runs a Windows program under Wine: in the given prefix, so that no user's own is touched, without
# Wine's own messages, and without the components that it would otherwise install or the menu
# entries that it would make.
#
# Wine ends with the last of its programs, and takes a second or two to start anew. With --keep it
# is up when this script returns, and stays so until the caller's process ends.
set -eu

wine=$1
export WINEPREFIX="$2" WINEDEBUG=-all WINEARCH=win64
export WINEDLLOVERRIDES=mscoree,mshtml,winemenubuilder.exe=d
shift 2

if [ "$1" = --keep ]; then
    # Wine's services would hold on to the output of the program that they are started for
    exec </dev/null >/dev/null 2>&1
    "$wine" ping.exe -n 1000000 127.0.0.1 &
    idle=$!
    (
        while kill -0 "$PPID"; do sleep 1; done
        kill "$idle"
    ) &
    exec "$wine" cmd.exe /c exit
fi
exec "$wine" "$@"
