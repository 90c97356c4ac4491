#!/usr/bin/env bash
# scripts/tidy.sh [FILE...]: lets clang-tidy look at all code, or at these files, with the checks of
# .clang-tidy. It needs a preset that has been configured: clang.
set -euo pipefail
. "$(dirname "$0")/prepare.sh"

install_packages view test clang tidy
[ -f build/clang/build.ninja ] || cmake --preset clang >/dev/null
[ $# -gt 0 ] || mapfile -t files < <(git ls-files '*.cpp' ':!examples' ':!benchmarks' ':!tests/fuzz')
printf '%s\0' "${@:-${files[@]}}" |
  xargs -0 -n 4 -P "$(nproc)" clang-tidy --quiet -p build/clang 2> >(grep -v 'warnings generated' >&2 || true)
