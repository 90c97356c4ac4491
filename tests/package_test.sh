#!/usr/bin/env bash
# package_test.sh BUILD SOURCE COMPILER: installs, moves what was installed, and builds and runs a host
# against it and nothing else.
set -euo pipefail
build=$1 source=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
cp -r "$source/examples/minimal_host" "$work/host"
cmake -S "$work/host" -B "$work/host/build" -DCMAKE_PREFIX_PATH="$work/moved" \
  -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build "$work/host/build" >/dev/null
"$work/host/build/minimal_host" "$source/compositions/tiles.vuo" "$work/picture.ppm"
[ "$(head -c 15 "$work/picture.ppm" | tr '\n' ' ')" = 'P6 320 180 255 ' ]

flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$work/moved" -name brannow.pc)") \
  pkg-config --cflags --libs brannow)
# shellcheck disable=SC2086
"$compiler" -std=c++20 "$work/host/main.cpp" $flags -o "$work/by_pkg_config"
"$work/by_pkg_config" "$source/compositions/tiles.vuo" "$work/again.ppm"
cmp "$work/picture.ppm" "$work/again.ppm"
"$work/moved/bin/brannow" render "$source/compositions/tiles.vuo" --size 16x9 -o "$work/t.png"
