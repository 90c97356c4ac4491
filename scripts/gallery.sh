#!/usr/bin/env bash
# scripts/gallery.sh: makes the pictures of all samples anew, and docs/gallery.md, which shows them.
# What the page says of a sample is the first sentence of the comment at the top of its file.
set -euo pipefail
. "$(dirname "$0")/prepare.sh"

install_packages test
build run
brannow=build/run/host/brannow
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Where a moment says more than the usual one, and over what a filter is shown.
declare -A moments=([clock_expression]=0 [ribbons]=31)
declare -A grounds=([film]=picture [duotone]=picture [halftone]=ink [invert]=plasma
  [kaleidoscope]=tiles [neon_edges]=glass [ripples]=picture)
usual_moment=12 usual_ground=sunset

generate() { # generate NAME TO
  "$brannow" render "compositions/$1.vuo" --size 960x540 --start "${moments[$1]:-$usual_moment}" -o "$2"
}
filter() { # filter NAME TO
  generate "${grounds[$1]:-$usual_ground}" "$work/ground.png"
  "$brannow" filter "compositions/$1.vuo" --input "$work/ground.png" --start "$usual_moment" -o "$2"
}

words() {
  sed -n '/^\/\/ /!q; s/^\/\/ //; s/^A filter: \(.\)/\u\1/; p' "compositions/$1.vuo" | tr '\n' ' ' |
    sed 's/\. .*/./'
}

cell() { # cell KIND NAME
  "$1" "$2" "$work/large.png" >/dev/null
  ffmpeg -nostdin -v error -y -i "$work/large.png" -vf scale=480:270:flags=area -q:v 4 \
    "docs/pictures/$2.jpg"
  printf '![](pictures/%s.jpg)<br>`%s`: %s' "$2" "$2.vuo" "$(words "$2")"
}

table() { # table KIND NAME...
  local kind=$1 column=0
  shift
  printf '\n| | | |\n|---|---|---|\n'
  for name; do
    printf '| %s ' "$(cell "$kind" "$name")"
    column=$(((column + 1) % 3))
    [ "$column" -ne 0 ] || printf '|\n'
  done
  [ "$column" -eq 0 ] || printf '|\n'
}

generators=() filters=()
for file in compositions/*.vuo; do
  name=$(basename "$file" .vuo)
  if grep -q '_image_type="VuoImage"' "$file"; then filters+=("$name"); else generators+=("$name"); fi
done

{
  printf '# Gallery\n\n'
  printf 'The samples, which lie in `compositions/` and are installed to\n'
  printf '`/usr/share/brannow/compositions`. `brannow view FILE.vuo` shows each with a control for\n'
  printf 'every input. `scripts/gallery.sh` makes the pictures and this page.\n'
  printf '\n## Generators\n'
  table generate "${generators[@]}"
  printf '\n## Filters\n'
  table filter "${filters[@]}"
} >"$work/gallery.md"
mv "$work/gallery.md" docs/gallery.md
