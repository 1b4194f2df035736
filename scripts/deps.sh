#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build, the tests and the demo need and the
# machine lacks. Installs nothing when all is there.
set -euo pipefail

need=()
have_pkg() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
for pkg in cmake g++ make libgtest-dev libgmock-dev libbenchmark-dev busybox bash lsscsi \
           pkg-config "$@"; do
    have_pkg "$pkg" || need+=("$pkg")
done
if [ ${#need[@]} -gt 0 ]; then
    echo "installing: ${need[*]}"
    SUDO=""
    [ "$(id -u)" -eq 0 ] || SUDO="sudo"
    $SUDO apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${need[@]}"
fi
