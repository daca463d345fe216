#!/usr/bin/env bash
# Installs what the build and the tests need, from Debian's packages. Does
# nothing when everything is present already.
set -euo pipefail

# bluez brings btmon, which reads the btsnoop capture in the capture tests.
# binutils (nm, c++filt) and pkg-config: the install tests read the library's
# exports and build a program against the installed package with pkg-config.
packages=(cmake ninja-build g++ clang libgtest-dev libgmock-dev libbenchmark-dev
          python3 openjdk-17-jdk-headless tshark bluez binutils pkg-config)

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "deps: installing ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  # tshark decodes the generated HCI commands in the tests; it needs no
  # capture rights, so its setuid helper stays off.
  echo "wireshark-common wireshark-common/install-setuid boolean false" | $SUDO debconf-set-selections
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
