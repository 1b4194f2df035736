#!/usr/bin/env bash
# Builds halctl and runs it on a copy of the bundled virtual appliance.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNASHAL_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target halctl nashal-sim-tool

box=$(mktemp -d /tmp/nashal-demo-XXXXXX)
trap 'rm -rf "$box"' EXIT
cp -a examples/appliances/x86-8bay/. "$box/"
halctl="$build/tools/halctl/halctl"

run() { echo "\$ halctl --root BOX $*"; "$halctl" --root "$box" "$@"; echo; }
run version
run appliance

# The boot scan of the board, then what the registry holds.
run scan
run enclosures
run map

# Disks as enumeration sees them, each with the enclosure and bay it maps back to.
run disks-found root
run disks-found root_esata
run disks-found root_usb
run disks-found root_boot
run disks-found root_cache

# What the scan recorded: every enclosure's disks, one in full, and one probed afresh.
run disks
run disk 0 5
run disk-probe sg0

# Board settings kept in CMOS: power-loss policy and EuP.
run cmos recovery
run cmos eup

# The Super I/O chip, the temperatures and fans, and an LED change read back from the chip.
run sio info
run temps
run fans
run sio gpio FRONT_USB_LED
run led usb on
run sio gpio FRONT_USB_LED
run led usb off

# A bay's error light, lit and read back from the chip: only bay 3's row is marked.
run disk-led 0 3 error on
run disk-leds 0
run disk-led 0 3 error off
