"""The films that the tests serve, and the tags that a viewer must get from them."""

import os
import pathlib
import random
import subprocess

import flv


def run(*command, data=None, seconds=60):
    done = subprocess.run([str(word) for word in command], input=data, capture_output=True, timeout=seconds)
    return done.returncode, done.stdout, done.stderr.decode(errors="replace")


def indexed(data):
    path = pathlib.Path(f"/tmp/qbflv-index-{os.getpid()}.flv")
    try:
        code, _, error = run("ffmpeg", "-v", "error", "-y", "-i", "-", "-c", "copy", "-flvflags", "add_keyframe_index",
                             path, data=data)
        assert code == 0, error
        return path.read_bytes()
    finally:
        path.unlink(missing_ok=True)


def long_tags():
    """Returns 100 s (12 MB) of large frames. They cannot be decoded."""
    noise = random.Random(0)
    tags = []
    for frame in range(2500):
        first = b"\x12" if frame % 50 == 0 else b"\x22"
        tags.append(flv.Tag(flv.VIDEO, frame * 40, first + noise.randbytes(4700)))
        tags.append(flv.Tag(flv.AUDIO, frame * 40 + 20, b"\x2f" + noise.randbytes(100)))
    return tags


def scattered_tags():
    """Returns audio tags, and the tags of a file with a script tag of the same size after each of them.

    The previous-tag size before each audio tag is therefore the one that the client gets, but no two are consecutive.
    """
    audio = [flv.Tag(flv.AUDIO, number * 26, b"\x2f" + bytes(9)) for number in range(3000)]
    return audio, [item for tag in audio for item in (tag, flv.Tag(flv.SCRIPT, tag.time, b"\2\0\7onOther"))]


def key_frames():
    """Returns so many key frames that the description of the film fills several socket buffers."""
    return [flv.Tag(flv.VIDEO, number * 40, b"\x12" + bytes(20)) for number in range(20_000)]


def make_films(samples):
    """Returns the bytes of each film, and the tags that a viewer must get from it."""
    tour = (samples / "tour.flv").read_bytes()
    tags = flv.media(tour)
    plain = flv.write(tags)
    listed = indexed(tour)
    listed_tags = flv.read(listed)
    # The positions in the list are those of a file with one more tag.
    wrong = flv.write([tag for i, tag in enumerate(listed_tags) if i != 30])
    middle = plain.index(flv.encode(tags[len(tags) // 2]))
    garbage = bytes(range(256)) * 8
    cut = len(plain) * 7 // 10
    kept, size = [], 13
    for tag in tags:
        size += len(flv.encode(tag))
        if size - 4 <= cut:
            kept.append(tag)
    late = [tag if tag.is_configuration else tag._replace(time=tag.time + 10_000) for tag in tags]
    of = lambda kind: [tag for tag in tags if tag.type == kind]
    sorenson = (samples / "sorenson.flv").read_bytes()
    return {
        "tour.flv": (tour, tags),
        "sorenson.flv": (sorenson, flv.media(sorenson)),
        "no-list.flv": (plain, tags),
        "list.flv": (listed, [tag for tag in listed_tags if tag.type != flv.SCRIPT]),
        "wrong-list.flv": (wrong, flv.media(wrong)),
        "audio-only.flv": (flv.write(of(flv.AUDIO)), of(flv.AUDIO)),
        "video-only.flv": (flv.write(of(flv.VIDEO)), of(flv.VIDEO)),
        "late.flv": (flv.write(late), late),
        "truncated.flv": (plain[:cut], kept),
        "damaged.flv": (plain[:middle] + garbage + plain[middle:], tags),
    }
