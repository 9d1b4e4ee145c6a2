#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
set -eu
packages=(cmake make python3 g++-mingw-w64-x86-64 g++-mingw-w64-i686 mingw-w64-tools wine wine64
          xvfb xdotool xauth doctest-dev curl imagemagick)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
