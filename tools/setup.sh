#!/usr/bin/env bash
# Installs what building and testing Corvane needs on Debian 12, skipping what is present.
set -euo pipefail
packages=(cmake g++ make qt6-base-dev qt6-base-dev-tools qt6-serialport-dev libgl-dev
    desktop-file-utils shared-mime-info xvfb xdotool libgtk-3-bin "$@")
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
    SUDO=""
    [ "$(id -u)" -ne 0 ] && SUDO=sudo
    $SUDO apt-get update
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
