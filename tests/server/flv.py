"""Reads and writes FLV files, independently of the modules under test."""

import struct
from typing import NamedTuple

AUDIO, VIDEO, SCRIPT = 8, 9, 18


class Tag(NamedTuple):
    type: int
    time: int
    body: bytes

    @property
    def is_configuration(self):
        first, second = self.body[0], self.body[1]
        return second == 0 and (first % 16 == 7 if self.type == VIDEO else first // 16 == 10)

    @property
    def is_frame(self):
        # H.264 also has end-of-sequence tags.
        is_mark = self.type == VIDEO and self.body[0] % 16 == 7 and self.body[1] != 1
        return not self.is_configuration and not is_mark

    @property
    def is_key_frame(self):
        return self.type == VIDEO and self.body[0] // 16 == 1 and self.is_frame

    @property
    def composition(self):
        """The composition time of an H.264 frame: its presentation time minus its timestamp."""
        return int.from_bytes(self.body[2:5], "big", signed=True)


def read(data):
    """Returns the tags of an undamaged file."""
    assert data[:3] == b"FLV", data[:20]
    tags, at = [], 13
    while at + 11 <= len(data):
        kind, size, time = data[at], int.from_bytes(data[at + 1 : at + 4], "big"), data[at + 4 : at + 8]
        body = data[at + 11 : at + 11 + size]
        assert len(body) == size and data[at + 11 + size : at + 15 + size] == struct.pack(">I", size + 11), at
        tags.append(Tag(kind, int.from_bytes(time[3:] + time[:3], "big"), body))
        at += 15 + size
    return tags


def media(data):
    return [tag for tag in read(data) if tag.type != SCRIPT]


def encode(tag):
    time = struct.pack(">I", tag.time)
    header = struct.pack(">B", tag.type) + struct.pack(">I", len(tag.body))[1:] + time[1:] + time[:1] + b"\0\0\0"
    return header + tag.body + struct.pack(">I", len(header) + len(tag.body))


def write(tags, flags=None):
    if flags is None:
        kinds = {tag.type for tag in tags}
        flags = (4 if AUDIO in kinds else 0) | (1 if VIDEO in kinds else 0)
    return b"FLV\1" + bytes([flags]) + b"\0\0\0\x09\0\0\0\0" + b"".join(map(encode, tags))


def part(tags, start):
    """Returns what a viewer must get from a start time in ms: the time of the first frame, and tags relative to it."""
    first_time = min(tag.time for tag in tags if not tag.is_configuration)
    tags = [tag._replace(time=max(tag.time - first_time, 0)) for tag in tags]
    has_video = any(tag.type == VIDEO for tag in tags)
    places = [i for i, tag in enumerate(tags) if (tag.is_key_frame if has_video else not tag.is_configuration)]
    place = max((i for i in places if tags[i].time <= start), default=0)
    if start == 0 or place == 0:
        return 0, tags
    begin = tags[place].time
    last = {tag.type: tag for tag in tags[:place] if tag.is_configuration}
    configurations = [last[kind]._replace(time=begin) for kind in (VIDEO, AUDIO) if kind in last]
    rest = [tag for tag in tags[place:] if tag.time >= begin]
    return begin, [tag._replace(time=tag.time - begin) for tag in configurations + rest]
