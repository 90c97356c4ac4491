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

# Each program and library is built to make an attack hard.
lacks() { echo "$1 lacks $2" >&2 && exit 1; }
while read -r file; do
  elf=$(readelf --wide --file-header --program-headers --dynamic --symbols "$file" 2>/dev/null) || continue
  [ -n "$elf" ] || continue
  for trait in 'Type: *DYN' GNU_RELRO 'BIND_NOW|Flags:.*NOW' 'GNU_STACK .* RW ' __stack_chk_fail; do
    grep -qE "$trait" <<<"$elf" || lacks "$file" "$trait"
  done
  # The others call nothing that could be checked, and clang checks fewer calls.
  [[ $compiler == *clang* || ! $file =~ /(brannow|libBrannow.so|vuo-player|vuo-compiler)$ ]] ||
    grep -qE '__[a-z]+_chk@' <<<"$elf" || lacks "$file" FORTIFY
done < <(find "$work/moved" -type f \( -perm -100 -o -name '*.so*' \))

# Each header stands alone, names nothing from outside, and Brannow.h has them all.
headers=$work/moved/include/brannow
for header in "$headers"/Brannow/*.h; do
  for cxx in g++ clang++; do
    ! command -v $cxx >/dev/null || echo "#include \"Brannow/${header##*/}\"" |
      "$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror -I"$headers" -fsyntax-only -xc++ - ||
      { echo "$header does not stand alone ($cxx)" >&2 && exit 1; }
  done
done
seen=$(echo '#include "Brannow/Brannow.h"' | "$compiler" -std=c++20 -I"$headers" -M -xc++ - | tr ' ' '\n')
[ "$(grep -c "^$headers/Brannow/" <<<"$seen")" = "$(find "$headers" -type f | wc -l)" ] ||
  { echo 'Brannow.h leaves a header out' >&2 && exit 1; }
! grep -E 'json|/epoxy/|/glib' <<<"$seen" || { echo 'a header of others is public' >&2 && exit 1; }

# Nothing of the library's inside is exported.
inside=$(nm -DC --defined-only "$work/moved/lib/libBrannow.so" | cut -d' ' -f3- |
  grep -vE ' A |BRANNOW_|^(typeinfo|vtable|guard).*(brannow::|ZQ|Vuo|GLScene)' || true)
[ -z "$inside" ] || { echo "exported: $inside" >&2 && exit 1; }

cp -r "$source/examples/minimal_host" "$work/host"
export CMAKE_GENERATOR=Ninja
cmake -S "$work/host" -B "$work/host/build" -DCMAKE_PREFIX_PATH="$work/moved" \
  -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build "$work/host/build" >/dev/null
"$work/host/build/minimal_host" "$source/compositions/tiles.vuo" "$work/picture.ppm"
[ "$(head -c 15 "$work/picture.ppm" | tr '\n' ' ')" = 'P6 320 180 255 ' ]

flags=$(PKG_CONFIG_PATH=$work/moved/lib/pkgconfig pkg-config --cflags --libs brannow)
# shellcheck disable=SC2086
"$compiler" -std=c++20 "$work/host/main.cpp" $flags -o "$work/by_pkg_config"
"$work/by_pkg_config" "$source/compositions/tiles.vuo" "$work/again.ppm"
cmp "$work/picture.ppm" "$work/again.ppm"

# A host with names of its own for what the library has inside; one that shows the library to all.
# shellcheck disable=SC2086
{
  "$compiler" -std=c++20 -rdynamic "$source/tests/clashing_host.cpp" "$work/host/main.cpp" $flags \
    -o "$work/clashing"
  "$compiler" -std=c++20 -rdynamic -DBY_LOADING "$source/tests/clashing_host.cpp" -ldl \
    -o "$work/loading"
  "$compiler" -std=c++20 -fPIC -shared "$work/host/main.cpp" $flags -o "$work/plugin.so"
}
"$work/clashing" "$source/compositions/tiles.vuo" "$work/clashing.ppm"
"$work/loading" "$work/moved/lib/libBrannow.so" "$work/plugin.so" \
  "$source/compositions/tiles.vuo" "$work/loading.ppm"
cmp "$work/picture.ppm" "$work/clashing.ppm"
cmp "$work/picture.ppm" "$work/loading.ppm"
"$work/moved/bin/brannow" render "$source/compositions/tiles.vuo" --size 16x9 -o "$work/t.png"

fail() {
  echo "$1" >&2
  exit 1
}

# completed WORD COMMAND...: what the shell would offer for WORD behind `brannow COMMAND...`
completed() (
  complete() { :; }
  _init_completion() {
    words=("${line[@]}") cword=$((${#line[@]} - 1)) cur=${line[-1]} prev=
  }
  . "$share/bash-completion/completions/brannow"
  line=(brannow "${@:2}" "$1")
  _brannow
  printf '%s\n' "${COMPREPLY[@]}"
)

# The command, and what the man page and the completion say of it.
brannow=$work/moved/bin/brannow share=$work/moved/share
[ "$("$brannow" --version)" = "brannow $(<"$source/VERSION")" ] || fail 'another version'
page=$(zcat "$share/man/man1/brannow.1.gz" | sed 's/\\-/-/g')
for command in '' view render filter describe check export 'cache list' 'cache clear'; do
  # shellcheck disable=SC2086
  help=$("$brannow" $command --help)
  ! grep -E 'ENUM|TEXT|INT|FLOAT|REQUIRED|Excludes' <<<"$help" || fail "not in words: $command"
  for option in $(grep -oE -- '^  (-.,)?--[a-z0-9-]+' <<<"$help" | grep -oE -- '--.*'); do
    grep -q -- "$option" <<<"$page" ||
      fail "not in the man page: $command $option"
    # shellcheck disable=SC2086
    grep -qx -- "$option" <<<"$(completed "$option" $command)" ||
      fail "not completed: $command $option"
  done
done

# What a file manager does for a thumbnail.
entry=$(sed -n 's/^Exec=brannow //p' "$share/thumbnailers/brannow.thumbnailer")
entry=${entry//%s/64} entry=${entry//%i/$share/brannow/compositions/plasma.vuo}
# shellcheck disable=SC2086
"$brannow" ${entry//%o/$work/thumbnail.png}
[ "$(head -c 24 "$work/thumbnail.png" | tail -c 8 | od -An -tx1 | tr -d ' ')" = 0000004000000040 ] ||
  fail 'no thumbnail of 64x64'
