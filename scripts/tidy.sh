#!/usr/bin/env bash
# scripts/tidy.sh [FILE...]: lets clang-tidy look at all code, or at these files, with the checks of
# .clang-tidy.
set -euo pipefail
. "$(dirname "$0")/prepare.sh"

install_packages view plugins test bench clang fuzz tidy
cmake --preset tidy >/dev/null
[ $# -gt 0 ] || mapfile -t files < <(find . -path ./build -prune -o -name '*.cpp' -print)
printf '%s\0' "${@:-${files[@]}}" |
  xargs -0 -n 2 -P "$(nproc)" clang-tidy --quiet -p build/tidy 2> >(grep -v 'warnings generated' >&2 || true)
