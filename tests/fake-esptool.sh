#!/bin/sh
# Stand-in for the flash tool in tests. Each run appends "--run" and then its arguments, one
# a line, to args.log beside it, and its process id to pid. It prints progress the way
# esptool does (carriage returns between the steps), writes a line to standard error, and
# ends with the status after "--exit" (0 without). With a file "hold" beside it, it waits
# until a file "go" appears there.
here=$(dirname "$0")
status=0
port=
take=
{
    echo "--run"
    for a in "$@"; do
        printf '%s\n' "$a"
    done
} >>"$here/args.log"
for a in "$@"; do
    case $take in
    exit) status=$a ;;
    port) port=$a ;;
    esac
    take=
    case $a in
    --exit) take=exit ;;
    --port) take=port ;;
    esac
done
echo $$ >"$here/pid"

echo "esptool.py v4.7.0"
echo "Serial port $port"
echo "Connecting...."
if [ -e "$here/hold" ]; then
    while [ ! -e "$here/go" ]; do
        sleep 0.05
    done
fi
for p in 0 25 50 75 100; do
    printf 'Writing at 0x0001%04d... (%d %%)\r' "$p" "$p"
done
echo
echo "warning: this is a stand-in tool" >&2
echo "Leaving... status $status"
exit "$status"
