# Shared by the scripts: where the tree is, and the Debian packages it needs.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

BUILD_PACKAGES=(g++ cmake ninja-build ccache pkg-config libssl-dev libjson-c-dev libcurl4-openssl-dev openssl)
# The clients and servers that the tests talk to, and what their scripts need.
TEST_PACKAGES=(curl git python3 atftpd chromium litmus cadaver apache2-utils php-cgi perl
  busybox)
# Real ports behind the switch: what the laboratory runs, and what the engine reaches it with.
LAB_PACKAGES=(libmnl-dev openvswitch-switch frr iproute2 iputils-ping ethtool tcpdump python3)
# Node may have come from elsewhere, with npm in the same package.
command -v node >/dev/null || TEST_PACKAGES+=(nodejs)
command -v npm >/dev/null || TEST_PACKAGES+=(npm)

die() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

# need_packages NAME...: installs those that are missing, with one apt-get run.
need_packages() {
  local missing=() name
  for name in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || die "these Debian packages are missing and there is no sudo to install them: ${missing[*]}"
    as_root=(sudo)
  fi
  command -v apt-get >/dev/null || die "these packages are missing and there is no apt-get to install them: ${missing[*]}"
  echo "Installing ${missing[*]}" >&2
  local log
  log=$(mktemp)
  "${as_root[@]}" apt-get update >"$log" 2>&1 || true
  if ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}" >>"$log" 2>&1; then
    die "cannot install ${missing[*]}: see $log"
  fi
  rm -f "$log"
}

# configured PRESET ARGUMENT...: configures the preset unless it already is, as it stands now and
# with these arguments. Nothing of an earlier configuration stays: not its compiler, either.
configured() {
  local preset=$1
  shift
  local stamp=build/$preset/.configured
  if [ ! -f "$stamp" ] || [ CMakePresets.json -nt "$stamp" ] || [ "$(cat "$stamp")" != "$*" ]; then
    cmake --fresh --preset "$preset" "$@" >/dev/null
    printf '%s' "$*" >"$stamp"
  fi
}
