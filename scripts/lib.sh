# Shared by the scripts: where the tree is, and the Debian packages it needs.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

BUILD_PACKAGES=(g++ cmake ninja-build ccache pkg-config libssl-dev libjson-c-dev libcurl4-openssl-dev
  libsystemd-dev openssl)
# The clients and servers that the tests talk to, and what their scripts need.
TEST_PACKAGES=(curl git python3 atftpd chromium litmus cadaver apache2-utils perl
  busybox
  python3-requests python3-click python3-rich python3-yaml python3-prometheus-client
  python3-cryptography python3-jsonschema python3-pytest mypy black mandoc prometheus
  python3-selenium chromium-driver ansible-core ansible-lint iproute2)
# Real ports behind the switch: what the laboratory runs, and what the engine reaches it with.
LAB_PACKAGES=(libmnl-dev openvswitch-switch frr iproute2 iputils-ping ethtool tcpdump python3)
# Node may have come from elsewhere, with npm in the same package.
command -v node >/dev/null || TEST_PACKAGES+=(nodejs)
command -v npm >/dev/null || TEST_PACKAGES+=(npm)
# What builds and checks the Debian packages, and what runs them in a container.
PACKAGE_PACKAGES=(debhelper dpkg-dev git libmnl-dev lintian mandoc procps python3 systemd systemd-container)

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

# configured PRESET ARGUMENT...: configures the preset unless it already is, as it stands now, with
# these arguments and with what the machine has for real ports and for a service. Nothing of an
# earlier configuration stays: not its compiler, either.
configured() {
  local preset=$1
  shift
  local stamp=build/$preset/.configured wanted
  wanted="$* $(for name in libmnl libsystemd; do pkg-config --modversion $name 2>/dev/null || true; done)"
  if [ ! -f "$stamp" ] || [ CMakePresets.json -nt "$stamp" ] || [ "$(cat "$stamp")" != "$wanted" ]; then
    cmake --fresh --preset "$preset" "$@" >/dev/null
    printf '%s' "$wanted" >"$stamp"
  fi
}

# build TARGET...: what is built is in build/release/bin; the compiler speaks only when it fails.
build() {
  local log
  log=$(mktemp)
  cmake --build --preset release --target "$@" >"$log" 2>&1 || {
    cat "$log" >&2
    rm -f "$log"
    die "the build failed"
  }
  rm -f "$log"
}

# build_engine: build/release/bin/restful_api_engine, with the folder REST_ROOT or its own default as
# its root folder and a certificate in it.
build_engine() {
  local default_root=/mnt/tarvexia
  local root=${REST_ROOT:-$default_root}
  case $root in
    /*) ;;
    *) root=$PWD/$root ;;
  esac
  # The certificate's path is part of the listening address, which has its own grammar.
  case $root in
    *[,:\"\\]*) die "REST_ROOT must not hold a comma, a colon, a quote or a backslash: $root" ;;
  esac
  local certificate=$root/ssl.pem
  [ ${#certificate} -le 99 ] || die "REST_ROOT is too long (the certificate's path takes 99 characters at most): $root"

  mkdir -p "$root" 2>/dev/null && [ -w "$root" ] ||
    die "cannot write to $root: run as root, or name a folder of yours: REST_ROOT=\$HOME/tarvexia scripts/run"
  scripts/make_certificate "$certificate"

  local arguments=()
  [ "$root" = "$default_root" ] || arguments=("-DREST_DOCUMENT_ROOT=$root")
  configured release "${arguments[@]}"
  build all
}
