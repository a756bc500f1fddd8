#!/usr/bin/env bash
# Installs the Debian packages the build needs, when missing.
# Usage: scripts/deps.sh PACKAGE...   (sourced by demo.sh and test.sh)
# As root it runs apt-get; otherwise it prints the exact command to run.
set -euo pipefail

missing=()
for pkg in "$@"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$pkg")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  echo "== installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
else
  echo "These packages are missing; install them and run this again:" >&2
  echo "  sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
