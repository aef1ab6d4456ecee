# What several scripts share: the project's root, a way to fail, and a quiet build. Sourced, not run.
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$1" >&2
  exit "${2:-1}"
}

# Prints the comment that stands at the top of the calling script.
usage() {
  sed -n '2,/^[^#]/{s/^# \{0,1\}//p}' "$0"
}

# configure PRESET: when it never was, or when the presets have changed since. Changed CMake files ninja notices itself.
configure() {
  local preset=$1 ninja_file=$root/build/$1/build.ninja log
  [[ ! -e $ninja_file || $root/CMakePresets.json -nt $ninja_file ]] || return 0
  log=$(cd "$root" && cmake --preset "$preset" 2>&1) || fail "configuring failed:"$'\n'"$log"
  touch "$ninja_file"
}

# build PRESET TARGET…: configures when it has to and builds the targets; all it has to say goes to standard error, and
# nothing when nothing was to be done.
build() {
  local preset=$1 folder=$root/build/$1
  shift
  configure "$preset"
  [[ $(ninja -C "$folder" -n "$@") != *"no work to do"* ]] || return 0
  printf 'Building (%s) …\n' "$preset" >&2
  # On a terminal ninja shows how far it is; elsewhere it shows the compiler's words only.
  if [[ -t 2 ]]; then
    ninja -C "$folder" "$@" >&2 || fail "the build failed"
  else
    ninja -C "$folder" --quiet "$@" 2>&1 | { grep -v '^-- ' || true; } >&2 || fail "the build failed"
  fi
}
