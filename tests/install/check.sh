#!/usr/bin/env bash
# Installs the build into a fresh prefix, builds a consumer against it with
# CMake and with pkg-config, and runs both on a root laid out by the
# installed tarn. Usage: check.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
src=$2
work=$(mktemp -d /tmp/tarn-install-XXXXXX)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/tests/install" -B "$work/consumer" -G Ninja \
    -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libtarn.so.5' | head -n 1)")
PKG_CONFIG_PATH="$libdir/pkgconfig" g++ -std=c++17 "$src/tests/install/consumer.cpp" \
    -o "$work/consumer-pc" $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs tarn)
readelf -d "$libdir/libtarn.so.5" | grep -q 'SONAME.*\[libtarn.so.5\]'
"$work/prefix/bin/tarn" --root "$work/root" init >/dev/null
VURO_SYSROOT="$work/root" "$work/consumer/consumer"
VURO_SYSROOT="$work/root" LD_LIBRARY_PATH="$libdir" "$work/consumer-pc"
test "$(VURO_SYSROOT="$work/root" "$work/prefix/bin/tarn" ou list | grep -c '"From outside"')" = 2
echo "install check: 1 passed, 0 failed"
