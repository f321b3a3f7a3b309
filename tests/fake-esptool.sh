#!/bin/sh
# Stand-in for the flash tool in tests. Each run appends "--run" and its arguments, a line each, to
# args.log beside it and its process id to pid; prints progress as esptool does and a line on stderr;
# ends with the status after "--exit" (0 without). While a file "hold" is beside it, it waits after
# connecting until a file "go" is too.
here=$(dirname "$0") status=0 port= take=
printf '%s\n' --run "$@" >>"$here/args.log"
for a in "$@"; do
    case $take in exit) status=$a ;; port) port=$a ;; esac
    case $a in --exit | --port) take=${a#--} ;; *) take= ;; esac
done
echo $$ >"$here/pid"
printf 'esptool.py v4.7.0\nSerial port %s\nConnecting....\n' "$port"
while [ -e "$here/hold" ] && [ ! -e "$here/go" ]; do sleep 0.05; done
printf 'Writing at 0x0001%04d... (%d %%)\r' 0 0 25 25 50 50 75 75 100 100
echo
echo "warning: this is a stand-in tool" >&2
echo "Leaving... status $status"
exit "$status"
