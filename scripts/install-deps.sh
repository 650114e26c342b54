#!/usr/bin/env bash
# Installs the Debian packages Vantrel builds and tests with. As root it installs
# what is missing; otherwise it prints the exact command and stops.
set -euo pipefail

packages=(
  g++ cmake ninja-build ccache pkg-config make
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-image-formats-plugins qt6-qpa-plugins libgl-dev libxkbcommon-dev
  libplist-dev libssl-dev libheif-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  attr git zip unzip tar xvfb xauth xdg-utils desktop-file-utils shared-mime-info
  socat
  # The file managers' launchers are read back by their own parsers in the tests.
  nemo libkf5config-bin libglib2.0-dev dbus-x11
  # A copy on btrfs shares its source's blocks; the test makes a btrfs volume to see it does.
  btrfs-progs
)
if [ "${WITH_BENCH:-0}" = 1 ]; then
  packages+=(img2pdf imagemagick jdupes rdfind fdupes rmlint rsync)
fi
if [ "${WITH_LINT:-0}" = 1 ]; then
  packages+=(clang-format clang-tidy)
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "Vantrel needs these Debian packages. Install them with:" >&2
  echo "  sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
# A fresh machine has no package lists yet.
if [ -z "$(ls -A /var/lib/apt/lists 2>/dev/null | grep -v -e lock -e partial)" ] || [ "${APT_UPDATE:-0}" = 1 ]; then
  apt-get update -qq
fi
apt-get install -y -qq --no-install-recommends "${missing[@]}"
