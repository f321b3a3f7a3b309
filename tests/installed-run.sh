#!/bin/sh
# Lays Corvane out as a user would get it, then starts it from there with a document.
#   installed-run.sh install CMAKE BUILD WORK   cmake --install into WORK/prefix
#   installed-run.sh archive CPACK BUILD WORK   cpack -G TGZ, unpacked into WORK/unpacked
# Offscreen, started from bin/corvane with a .bin document: the program finds the application
# folder behind the link, so the package lands in its catalogue with the support images of its
# tools/bin. Then, where Xvfb, xdotool and gtk-launch are at hand, started from its desktop
# entry on a virtual screen: Start runs the esptool found on PATH with the preset's command on
# the default port. Nothing here waits for a fixed time: every wait is for a file, with a bound.
set -eu
mode=$1 tool=$2 build=$3 work=$4
bound=120

fail() { echo "FAIL: $*" >&2; exit 1; }

# Waits until the file exists; gives up after the bound.
await() {
    i=0
    while [ ! -e "$1" ]; do
        i=$((i + 1))
        [ "$i" -le $((bound * 10)) ] || fail "never came: $1"
        sleep 0.1
    done
}

pids=""
cleanup() {
    for p in $pids; do kill "$p" 2>/dev/null || true; done
}
trap cleanup EXIT INT TERM

rm -rf "$work"
mkdir -p "$work"
case $mode in
install)
    "$tool" --install "$build" --prefix "$work/prefix" >/dev/null
    prefix=$work/prefix
    ;;
archive)
    (cd "$work" && "$tool" -G TGZ --config "$build/CPackConfig.cmake" -B "$work/pack" >/dev/null)
    archive=$(ls "$work"/pack/corvane-*-Linux.tar.gz)
    mkdir "$work/unpacked"
    tar -xzf "$archive" -C "$work/unpacked"
    prefix=$(ls -d "$work"/unpacked/corvane-*-Linux)
    ;;
*) fail "mode $mode" ;;
esac

app=$prefix/lib/corvane
[ -L "$prefix/bin/corvane" ] || fail "bin/corvane is no link"
[ -x "$app/corvane" ] || fail "no program in lib/corvane"
[ -f "$app/firmwares/example-blink/example-blink.json" ] || fail "no demo catalogue"
[ -d "$app/Corvane.app/Contents/Resources" ] || fail "no Corvane.app/Contents/Resources"
[ -f "$prefix/share/icons/hicolor/scalable/apps/corvane.svg" ] || fail "no icon"
grep -q '^Icon=corvane$' "$prefix/share/applications/corvane.desktop" || fail "desktop entry names no icon"

# A stand-in esptool where pip puts one, a support image, a document, and folders of its own
# for the single-instance socket so that no other Corvane is met.
mkdir -p "$work/path" "$work/docs" "$work/tmp1" "$work/run1" "$work/tmp2" "$work/run2"
chmod 700 "$work/run1" "$work/run2"
cat >"$work/path/esptool" <<EOF
#!/bin/sh
echo "\$@" >"$work/tool-ran.part" && mv "$work/tool-ran.part" "$work/tool-ran"
echo stand-in esptool
EOF
chmod +x "$work/path/esptool"
printf 'support image' >"$app/tools/bin/boot_app0.bin"
printf 'an application image' >"$work/docs/mine.bin"

# From another folder, so nothing is found by accident in the working directory.
cd "$work/docs"
env QT_QPA_PLATFORM=offscreen TMPDIR="$work/tmp1" XDG_RUNTIME_DIR="$work/run1" PATH="$work/path:$PATH" \
    "$prefix/bin/corvane" "$work/docs/mine.bin" &
pids="$pids $!"
await "$app/firmwares/mine.json"
await "$app/firmwares/mine/boot_app0.bin"
await "$app/firmwares/mine/mine.bin"
grep -q 'mine.bin' "$app/firmwares/mine.json" || fail "package manifest"
echo "offscreen from bin/corvane: the package is in $app/firmwares"
cleanup
pids=""

if ! command -v Xvfb >/dev/null || ! command -v xdotool >/dev/null || ! command -v gtk-launch >/dev/null; then
    echo "no Xvfb, xdotool or gtk-launch: the desktop entry start is left out"
    exit 0
fi

# A virtual screen of our own; Xvfb names its display once it is up.
Xvfb -displayfd 5 -screen 0 800x600x24 -nolisten tcp 5>"$work/display" 2>/dev/null &
pids="$pids $!"
i=0
until [ -s "$work/display" ]; do
    i=$((i + 1))
    [ "$i" -le $((bound * 10)) ] || fail "Xvfb never came up"
    sleep 0.1
done
DISPLAY=:$(cat "$work/display")
export DISPLAY

printf 'another image' >"$work/docs/other.bin"
env -u QT_QPA_PLATFORM TMPDIR="$work/tmp2" XDG_RUNTIME_DIR="$work/run2" PATH="$work/path:$prefix/bin:$PATH" \
    XDG_DATA_HOME="$work/data" XDG_DATA_DIRS="$prefix/share:/usr/share" \
    gtk-launch corvane "$work/docs/other.bin" 2>/dev/null
await "$app/firmwares/other.json"
window=$(xdotool search --sync --onlyvisible --name '^Corvane$' | head -n 1)
[ -n "$window" ] || fail "no window"
xdotool getwindowpid "$window" >"$work/pid" 2>/dev/null && pids="$pids $(cat "$work/pid")"

# Start lies at 426,254 and is 80 x 20 in the 478 high design; the menu bar above pushes it
# down by what the window is higher. Pressed until the tool has run, as a person would press
# it again when nothing seemed to happen.
i=0
until [ -e "$work/tool-ran" ]; do
    i=$((i + 1))
    [ "$i" -le "$bound" ] || fail "Start never ran the tool"
    height=$(xdotool getwindowgeometry --shell "$window" | sed -n 's/^HEIGHT=//p')
    xdotool mousemove --window "$window" 466 $((264 + height - 478)) click 1
    sleep 1
done
ran=$(cat "$work/tool-ran")
echo "from the desktop entry, Start ran: esptool $ran"
case $ran in
*"--port /dev/"*"write_flash"*"other.bin"*) ;;
*) fail "the tool ran with: $ran" ;;
esac
