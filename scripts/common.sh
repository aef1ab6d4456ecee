# Shared by the scripts: the project's root, error messages, and a quiet build. Sourced, not run.
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$1" >&2
  exit "${2:-1}"
}

# Prints the comment at the top of the calling script.
usage() {
  sed -n '2,/^[^#]/{s/^# \{0,1\}//p}' "$0"
}

# A prefix for the name of every preset. .ci/run sets it, so that it builds with its own presets in its own folders.
preset_prefix=${QBFLV_PRESET_PREFIX:-}

# build_folder PRESET: prints the preset's build folder.
build_folder() { printf '%s\n' "$root/build/$preset_prefix$1"; }

# configure PRESET: runs CMake the first time and when the presets have changed. Ninja notices changed CMake files
# itself.
configure() {
  local preset=$preset_prefix$1 ninja_file log
  ninja_file=$(build_folder "$1")/build.ninja
  [[ ! -e $ninja_file || $root/CMakePresets.json -nt $ninja_file ]] || return 0
  log=$(cd "$root" && cmake --preset "$preset" 2>&1) || fail "configuring failed:"$'\n'"$log"
  touch "$ninja_file"
}

# build PRESET TARGET…: configures if necessary, and builds the targets. Writes to standard error; prints nothing if
# everything is up to date.
build() {
  local preset=$1 folder
  folder=$(build_folder "$1")
  shift
  configure "$preset"
  [[ $(ninja -C "$folder" -n "$@") != *"no work to do"* ]] || return 0
  printf 'Building (%s) …\n' "$preset" >&2
  # On a terminal, show ninja's progress; elsewhere, show only the compiler's messages.
  if [[ -t 2 ]]; then
    ninja -C "$folder" "$@" >&2 || fail "the build failed"
  else
    ninja -C "$folder" --quiet "$@" 2>&1 | { grep -v '^-- ' || true; } >&2 || fail "the build failed"
  fi
}
