#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a C11 daemon against it twice: through
# pkg-config and through find_package(nashal). Arguments: build dir, source dir.
set -euo pipefail
build=$1
src=$2
work=$(mktemp -d /tmp/nashal-install-XXXXXX)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
# halctl comes with its manual page and its bash completion.
test -f "$work/prefix/share/man/man1/halctl.1" || { echo "halctl.1 not installed"; exit 1; }
test -f "$work/prefix/share/bash-completion/completions/halctl" ||
    { echo "halctl completion not installed"; exit 1; }
pc=$(find "$work/prefix" -name nashal.pc)
flags=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs nashal)
case "$flags" in *"$work/prefix"*) ;; *) echo "pkg-config points elsewhere: $flags"; exit 1 ;; esac
# The sanitizer runtime comes with the build's own flags, when the build has them.
extra=$(grep -q 'NASHAL_SANITIZE:BOOL=ON' "$build/CMakeCache.txt" && echo "-fsanitize=address,undefined" || true)
cc -std=c11 -Wall -Werror $extra "$src/tests/c_api/c11_umbrella.c" $flags -o "$work/daemon_pc"
LD_LIBRARY_PATH=$(dirname "$(find "$work/prefix" -name 'libnashal.so' | head -1)") "$work/daemon_pc"

mkdir -p "$work/consumer"
cp "$src/tests/c_api/c11_umbrella.c" "$work/consumer/main.c"
cat > "$work/consumer/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(nashal REQUIRED)
add_executable(daemon main.c)
target_compile_options(daemon PRIVATE $extra)
target_link_options(daemon PRIVATE $extra)
target_link_libraries(daemon PRIVATE nashal::nashal)
CMAKE
cmake -S "$work/consumer" -B "$work/consumer/build" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer/build" >/dev/null
"$work/consumer/build/daemon"
echo "installed library builds and runs through pkg-config and find_package"
