#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages that a list names, one a line, when any of them is missing.
set -euo pipefail
mapfile -t wanted < <(grep -v '^#' "$1" | grep -v '^$')
missing=()
for package in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0
run=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "These packages are missing: ${missing[*]}" >&2; exit 1; }
    run=(sudo)
fi
"${run[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${run[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
