#!/usr/bin/env bash
# Installs every Debian package the project builds, tests and demonstrates with.
# Idempotent: a machine that already has everything is left untouched.
set -euo pipefail

packages=(
  build-essential cmake make pkg-config
  libcurl4-openssl-dev libssl-dev openssl
  libcpp-httplib-dev
  libgtest-dev libgmock-dev
  libbenchmark-dev
  libcli11-dev
  clang-14 libclang-rt-14-dev
  ccache
  tmux
  file gdb
)
# Callers that need more (scripts/install-windows-deps.sh) name their packages as arguments.
packages+=("$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

if [ ${#missing[@]} -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  as_root apt-get update -qq
  as_root apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# jsoncons 1.3.2 is not in Debian 12. The trixie package is architecture-independent
# headers without dependencies, so it is fetched from the machine's own Debian mirror
# without touching the machine's apt sources.
if ! dpkg-query -W -f='${Status}' libjsoncons-dev 2>/dev/null | grep -q "install ok installed"; then
  sources=/etc/apt/sources.list.d/debian.sources
  uri=""
  if [ -f "$sources" ]; then
    uri=$(awk '/^URIs:/ { for (i = 2; i <= NF; i++) if ($i !~ /security/) { print $i; exit } }' "$sources")
  fi
  if [ -z "$uri" ] && [ -f /etc/apt/sources.list ]; then
    uri=$(awk '$1 == "deb" && $0 !~ /security/ { for (i = 2; i <= NF; i++) if ($i ~ /^[a-z]+:\/\//) { print $i; exit } }' /etc/apt/sources.list)
  fi
  if [ -z "$uri" ]; then
    echo "install-deps: cannot find the Debian mirror in the apt configuration (looked at $sources and /etc/apt/sources.list)" >&2
    exit 1
  fi
  keyring=/usr/share/keyrings/debian-archive-keyring.gpg
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
  echo "deb [signed-by=$keyring] $uri trixie main" >"$work/trixie.list"
  apt_opts=(-o "Dir::Etc::sourcelist=$work/trixie.list" -o "Dir::Etc::sourceparts=-"
            -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache"
            -o "APT::Get::List-Cleanup=0")
  echo "install-deps: fetching libjsoncons-dev from trixie"
  as_root apt-get "${apt_opts[@]}" update -qq
  (cd "$work" && as_root apt-get "${apt_opts[@]}" download libjsoncons-dev)
  as_root dpkg -i "$work"/libjsoncons-dev_*.deb
fi
