#!/usr/bin/env bash
# Makes the sample files anew with ffmpeg's own test pictures and tones: samples/make.sh [FOLDER]
#
# tour.flv      H.264 with B frames and AAC, 10 s, texts and a key-frame list in its metadata
# sorenson.flv  Sorenson H.263 and MP3, 8 s, without metadata, so that a reader has to learn everything from the tags
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
out=${1:-$here}

# One thread and no encoder names: the same ffmpeg gives the same bytes every time.
encode() {
  ffmpeg -hide_banner -loglevel error -y "$@"
}
same_bytes=(-threads 1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact)

encode -f lavfi -i testsrc2=size=320x180:rate=25:duration=10 -f lavfi -i sine=frequency=440:beep_factor=4:duration=10 \
  "${same_bytes[@]}" -c:v libx264 -preset medium -b:v 110k -g 50 -bf 2 -pix_fmt yuv420p \
  -c:a aac -b:a 40k -ac 1 -ar 44100 \
  -metadata title="A short tour" -metadata author="the qbflvplus authors" -metadata copyright="Free to copy" \
  -flvflags add_keyframe_index "$out/tour.flv"

encode -f lavfi -i testsrc2=size=176x144:rate=12:duration=8 -f lavfi -i sine=frequency=330:beep_factor=2:duration=8 \
  "${same_bytes[@]}" -c:v flv -q:v 12 -g 24 -c:a libmp3lame -b:a 32k -ac 1 -ar 22050 \
  -flvflags no_metadata "$out/sorenson.flv"
