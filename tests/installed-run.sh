#!/bin/sh
# Lays Corvane out as a user gets it and starts it offscreen from bin/corvane with a .bin document:
# behind the link it finds its application folder, and the package lands in that catalogue.
#   installed-run.sh install CMAKE BUILD WORK   cmake --install into WORK/prefix
#   installed-run.sh archive CPACK BUILD WORK   cpack -G TGZ, unpacked into WORK/unpacked
set -eu
mode=$1 tool=$2 build=$3 work=$4
fail() { echo "FAIL: $*" >&2; exit 1; }
rm -rf "$work" && mkdir -p "$work/docs" "$work/run" && chmod 700 "$work/run"
case $mode in
install) "$tool" --install "$build" --prefix "$work/prefix" >/dev/null && prefix=$work/prefix ;;
archive)
    (cd "$work" && "$tool" -G TGZ --config "$build/CPackConfig.cmake" -B "$work/pack" >/dev/null)
    mkdir "$work/unpacked" && tar -xzf "$work"/pack/corvane-*-Linux.tar.gz -C "$work/unpacked"
    prefix=$(ls -d "$work"/unpacked/corvane-*-Linux) ;;
*) fail "mode $mode" ;;
esac
app=$prefix/lib/corvane
[ -L "$prefix/bin/corvane" ] && [ -f "$app/firmwares/example-blink/example-blink.json" ] || fail "layout"
grep -q '^Icon=corvane$' "$prefix/share/applications/corvane.desktop" && [ -f "$prefix/share/icons/hicolor/scalable/apps/corvane.svg" ] || fail "icon"
printf 'support image' >"$app/tools/bin/boot_app0.bin" && printf 'an image' >"$work/docs/mine.bin"
# From another folder, with a socket folder of its own: nothing found by accident, no other Corvane met.
cd "$work/docs"
QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR="$work/run" "$prefix/bin/corvane" "$work/docs/mine.bin" &
trap 'kill $! 2>/dev/null || true' EXIT INT TERM
i=0
until grep -qs mine.bin "$app/firmwares/mine.json" && [ -f "$app/firmwares/mine/boot_app0.bin" ] && [ -f "$app/firmwares/mine/mine.bin" ]; do
    i=$((i + 1)) && [ $i -le 1200 ] || fail "no package in $app/firmwares"
    sleep 0.1
done
echo "offscreen from bin/corvane: the package is in $app/firmwares"
