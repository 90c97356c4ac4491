# Sourced by the commands at the root: installs what packages.txt names and this machine lacks, and
# builds a preset.

cd "$(dirname "${BASH_SOURCE[0]}")/.."

# missing_packages MARK...: of those that packages.txt names without a mark or with one of these
missing_packages() {
  awk -v marks=" $* " '$1 ~ /^[^#]/ && ($3 !~ /^@/ || index(marks, " " substr($3, 2) " ")) { print $1 }' \
    packages.txt | while read -r package; do
    dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      printf '%s\n' "$package"
  done
}

# install_packages MARK...
install_packages() {
  local missing log
  missing=$(missing_packages "$@" | tr '\n' ' ')
  [ -n "${missing// /}" ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    printf 'These packages are missing. Install them with:\n  sudo apt-get install --no-install-recommends %s\n' "$missing" >&2
    exit 1
  fi
  printf 'Installing %s\n' "$missing" >&2
  log=$(mktemp)
  export DEBIAN_FRONTEND=noninteractive
  apt-get -qq update >&2
  # shellcheck disable=SC2086
  apt-get -qq install -y --no-install-recommends $missing >"$log" 2>&1 || {
    cat "$log" >&2
    exit 1
  }
  rm -f "$log"
}

# build PRESET [OPTION...]: quiet unless it fails. With options of CMake's it is configured anew.
build() {
  local preset=$1 log=build/$1.log
  shift
  mkdir -p build
  { [ -f "build/$preset/build.ninja" ] && [ $# -eq 0 ] || cmake --preset "$preset" "$@"; } >"$log" 2>&1 &&
    cmake --build --preset "$preset" >>"$log" 2>&1 || {
    cat "$log" >&2
    exit 1
  }
}
