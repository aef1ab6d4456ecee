#!/usr/bin/env bash
# The Windows command says what the Linux one says, byte for byte: same_output.sh LINUX_COMMAND IN_WINE WINDOWS_COMMAND SAMPLES
set -euo pipefail

linux=$1 in_wine=$2 windows=$3 samples=$4
if [[ ! -x $linux ]]; then
  echo "there is no Linux command to compare with: $linux"
  exit 77
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

failed=0
# Output, errors and status of a command, in one file.
record() {
  local file=$1
  shift
  { "$@" && echo "status 0" || echo "status $?"; } >"$file" 2>&1
}
compare() {
  record "$scratch/linux" "$linux" "$@"
  record "$scratch/windows" "$in_wine" "$windows" "$@"
  cmp "$scratch/linux" "$scratch/windows" && return
  echo "differs: qbflv $*"
  diff "$scratch/linux" "$scratch/windows" | head -n 20
  failed=1
}

for sample in "$samples"/*.flv; do
  compare info "$sample"
  compare info --json "$sample"
  compare packets "$sample"
  compare packets --json --host-io queued --host-stat no "$sample"
  compare packets --count "$sample"
done
compare info "$samples/no such file.flv"
compare packets
exit "$failed"
