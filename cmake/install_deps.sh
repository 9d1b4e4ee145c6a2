#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing:
# the cross compilers, 64-bit Wine and 32-bit Wine (wine32:i386, so the x86
# build's programs run in the same WoW64 prefix kind as the x64 ones), and
# msitools with wixl for the MSI packages, osslsigncode and openssl to sign
# them (and to make the tests' throw-away certificate).
set -eu
packages=(cmake make python3 g++-mingw-w64-x86-64 g++-mingw-w64-i686 mingw-w64-tools wine wine64
          xvfb xdotool xauth doctest-dev curl imagemagick msitools wixl
          osslsigncode openssl)
wine32=wine32:i386

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

missing=()
for p in "${packages[@]}"; do
  installed "$p" || missing+=("$p")
done
need_i386=0
dpkg --print-foreign-architectures | grep -qx i386 || need_i386=1
need_wine32=0
installed "$wine32" || need_wine32=1
[ ${#missing[@]} -eq 0 ] && [ $need_i386 -eq 0 ] && [ $need_wine32 -eq 0 ] && exit 0

export DEBIAN_FRONTEND=noninteractive
sudo_cmd=""
[ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
apt_get() { $sudo_cmd apt-get -y -qq -o=Dpkg::Use-Pty=0 "$@"; }

if [ $need_i386 -eq 1 ]; then
  echo "Adding the i386 architecture (for 32-bit Wine)"
  $sudo_cmd dpkg --add-architecture i386
fi
# An index that fails to download (a mirror in the middle of a sync, a
# source that is not reachable) is not fatal: what did arrive is used.
apt_get update || echo "install_deps: apt-get update reported errors; going on with the indexes it has" >&2

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  apt_get install --no-install-recommends "${missing[@]}" >/dev/null
fi
[ $need_wine32 -eq 1 ] || exit 0

# apt's plan is tried first without doing it: a plan that removes a package
# (apt offers to remove wine64 when the versions don't pair) is no plan.
plan_ok() {
  local plan
  plan=$(apt-get -s install --no-install-recommends "$@" 2>&1) || return 1
  ! grep -q '^Remv ' <<<"$plan"
}
echo "Installing: $wine32"
if [ "${QBX_WINE32_RESOLVE:-}" != "pinned" ] && plan_ok "$wine32"; then
  apt_get install --no-install-recommends "$wine32" >/dev/null
  exit 0
fi

# The i386 index can lag behind the amd64 one (a security or update index
# not yet there for i386), while a multi-arch library must have the same
# version on both architectures. apt then either gives up or offers to remove
# wine64. Resolve it ourselves: for every multi-arch library wine32 needs whose
# amd64 twin is installed at a version newer than anything the i386 index
# offers, take the newest version both architectures offer, and install wine32
# with those pairs named, from the release itself (-t bookworm), downgrading
# where needed.
echo "install_deps: plain installation of $wine32 failed; pairing the multi-arch library versions"
release=$(. /etc/os-release && echo "${VERSION_CODENAME:-bookworm}")
closure=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
            --no-replaces --no-enhances "$wine32" 2>/dev/null |
          sed -n 's/^\([a-z0-9][a-z0-9.+-]*\):i386$/\1/p' | sort -u)
# Every version each architecture's index offers: "name arch version" lines.
offers=$(for n in $closure; do echo "$n"; echo "$n:i386"; done |
         xargs -r apt-cache madison 2>/dev/null |
         awk -F'|' '{gsub(/ /, "", $1); gsub(/ /, "", $2); n = $1; sub(/:i386$/, "", n);
                     a = ($1 ~ /:i386$/) ? "i386" : "amd64"; print n, a, $2}' | sort -u)
pairs=()
for n in $closure; do
  have=$(dpkg-query -W -f='${Status} ${Version}\n' "$n:amd64" 2>/dev/null |
         awk '/install ok installed/ {print $NF}')
  [ -n "$have" ] || continue
  [ "$(dpkg-query -W -f='${Multi-Arch}' "$n:amd64" 2>/dev/null)" = same ] || continue
  # Fine when i386 offers the installed version or a newer one (apt then
  # moves the amd64 twin up to it by itself).
  newer=0
  for v in $(echo "$offers" | awk -v n="$n" '$1 == n && $2 == "i386" {print $3}'); do
    dpkg --compare-versions "$v" ge "$have" && newer=1
  done
  [ $newer -eq 1 ] && continue
  # The newest version offered for both architectures.
  best=""
  for v in $(echo "$offers" | awk -v n="$n" '$1 == n && $2 == "i386" {print $3}'); do
    echo "$offers" | grep -qxF "$n amd64 $v" || continue
    if [ -z "$best" ] || dpkg --compare-versions "$v" gt "$best"; then best=$v; fi
  done
  if [ -z "$best" ]; then
    echo "install_deps: no version of $n is offered for both amd64 and i386" >&2
    exit 1
  fi
  echo "  $n: $have installed for amd64, not offered for i386; both architectures get $best"
  pairs+=("$n:amd64=$best" "$n:i386=$best")
done
if ! plan_ok -t "$release" --allow-downgrades "$wine32" "${pairs[@]}"; then
  echo "install_deps: no installation plan for $wine32 that keeps every installed package:" >&2
  apt-get -s install --no-install-recommends -t "$release" --allow-downgrades "$wine32" "${pairs[@]}" 2>&1 |
    grep -E '^(Remv|E:)|unmet|Depends|Breaks' >&2
  exit 1
fi
apt_get install --no-install-recommends -t "$release" --allow-downgrades "$wine32" "${pairs[@]}" >/dev/null
# Nothing of 64-bit Wine may have gone.
for p in wine wine64 "$wine32"; do
  installed "$p" || { echo "install_deps: $p is not installed after the pairing" >&2; exit 1; }
done
