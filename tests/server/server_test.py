"""The modules inside nginx, with real clients: server_test.py MODULES SAMPLES [TEST…]

Films × start times × protocols are compared with an independent reading of the files; QBFLV_SERVER_ROUNDS multiplies what
is repeated.
"""

import concurrent.futures
import json
import os
import pathlib
import socket
import subprocess
import sys
import time
import unittest
import urllib.error
import urllib.request

import flv
from rtmp_client import Client
from server import Server

ROUNDS = int(os.environ.get("QBFLV_SERVER_ROUNDS", "1"))
STARTS = (0, 4000, 5500, 7900)


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


def make_films(samples):
    """Of each film its bytes, and the tags that a viewer can get of it."""
    tour = (samples / "tour.flv").read_bytes()
    tags = flv.media(tour)
    plain = flv.write(tags)
    listed = indexed(tour)
    listed_tags = flv.read(listed)
    # The list's places are those of a file that had one tag more.
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


def digest(tags, kind, shift=0):
    return [(tag.time + shift, len(tag.body), hash(tag.body)) for tag in tags if tag.type == kind]


class ServerTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.films = make_films(SAMPLES)
        bytes_of = {name: film[0] for name, film in cls.films.items()}
        bytes_of["text.flv"] = b"This is no film.\n"
        bytes_of["empty.flv"] = b""
        bytes_of["a b%+&.flv"] = bytes_of["tour.flv"]
        cls.server = Server(MODULES, bytes_of)

    @classmethod
    def tearDownClass(cls):
        cls.server.close()

    def fetch(self, name, location="vod", headers=None, method="GET"):
        request = urllib.request.Request(self.server.film_url(name, location), headers=headers or {}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as response:
                return response.status, dict(response.headers), response.read()
        except urllib.error.HTTPError as error:
            return error.code, dict(error.headers), error.read()

    def curl(self, name, *options):
        code, out, error = run("curl", "-sS", *options, self.server.film_url(name))
        self.assertEqual(code, 0, error)
        return out

    def rtmpdump(self, name, start, app="vod"):
        url = f"rtmp://127.0.0.1:{self.server.rtmp}/{app}"
        return run("rtmpdump", "-q", "-r", url, "-y", name, "--start", start / 1000, "-o", "-")[1]

    def client(self, name, **options):
        client = Client(f"rtmp://127.0.0.1:{self.server.rtmp}/vod/{name}", **options)
        self.addCleanup(client.close)
        return client

    def assert_decodes(self, data):
        code, _, error = run("ffmpeg", "-v", "error", "-i", "-", "-f", "null", "-", data=data)
        self.assertEqual((code, error), (0, ""))

    def assert_tags(self, got, expected, shift=0):
        for kind in (flv.VIDEO, flv.AUDIO):
            self.assertEqual(digest(got, kind), digest(expected, kind, shift))

    def wait(self, condition):
        end = time.monotonic() + 30
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)

    # Films

    def test_http_delivers_each_part_of_each_film(self):
        for name, (_, tags) in self.films.items():
            for start in STARTS:
                with self.subTest(film=name, start=start):
                    begin, expected = flv.part(tags, start)
                    if start > max(tag.time for tag in flv.part(tags, 0)[1]):
                        self.assertEqual(self.fetch(f"{name}?start={start / 1000}")[0], 416)
                        continue
                    for location in ("vod", "blocking"):
                        status, headers, data = self.fetch(f"{name}?start={start / 1000}", location)
                        self.assertEqual((status, float(headers["X-Content-Start"])), (200, begin / 1000))
                        self.assert_tags(flv.media(data), expected)
                    metadata = flv.read(data)[0].body
                    self.assertNotIn(b"filepositions", metadata)
                    self.assertNotIn(b"filesize", metadata)
                    self.assert_decodes(data)

    def test_rtmp_delivers_each_part_of_each_film(self):
        for name, (_, tags) in self.films.items():
            for start in STARTS:
                if start > max(tag.time for tag in flv.part(tags, 0)[1]):
                    continue
                with self.subTest(film=name, start=start):
                    _, expected = flv.part(tags, start)
                    data = self.rtmpdump(name, start)
                    # rtmpdump adds the start that it asked for, and drops the end-of-sequence mark.
                    expected = [tag for tag in expected if len(tag.body) > 5]
                    self.assert_tags(flv.media(data), expected, start)
                    self.assert_decodes(data)

    def test_players_play_both_protocols(self):
        for url in (self.server.film_url("tour.flv?start=5.5"), f"rtmp://127.0.0.1:{self.server.rtmp}/vod/tour.flv"):
            with self.subTest(url=url):
                code, out, error = run("ffprobe", "-v", "error", "-count_packets", "-show_entries",
                                       "stream=codec_name,nb_read_packets", "-of", "csv=p=0", url)
                self.assertEqual((code, error), (0, ""))
                self.assertIn(b"h264", out)
                self.assertIn(b"aac", out)

    # HTTP

    def test_each_address_has_its_answer(self):
        cases = (
            ("tour.flv", 200, None), ("tour.flv?start=4", 200, None), ("tour.flv?start=4&end=6", 200, None),
            ("tour.flv?start=5.5", 302, "./tour.flv?start=4"), ("tour.flv?x=1&start=0%3A05.5&end=7", 302,
                                                                "./tour.flv?start=4&x=1&end=7"),
            ("a%20b%25+%26.flv?start=5.5", 302, "./a%20b%25+%26.flv?start=4"), ("tour.flv?start=0", 302, "./tour.flv"),
            ("tour.flv?start=4.0", 302, "./tour.flv?start=4"), ("tour.flv?start=11", 416, "This film ends at 10.105 s."),
            ("tour.flv?start=4&end=3", 416, "The end is not behind the start."),
            ("tour.flv?start=soon", 400, "A time is written as 61.5 or 1:01.5."),
            ("tour.flv?start=-1", 400, "A time is written as 61.5 or 1:01.5."),
            ("none.flv", 404, "There is no such film."), ("text.flv", 415, "This is not an FLV file."),
            ("empty.flv", 415, "This is not an FLV file."), ("../outside.flv", 404, None))
        for address, status, what in cases:
            with self.subTest(address=address):
                out = self.curl(address, "-D", "-", "-o", "/dev/null" if status == 200 else "-").decode(errors="replace")
                self.assertIn(f"HTTP/1.1 {status} ", out)
                if status == 302:
                    self.assertIn(f"Location: {what}\r\n", out)
                elif what:
                    self.assertTrue(out.endswith(f"\r\n\r\n{what}\n"), out)

    def test_end_cuts_the_rest_off(self):
        tags = flv.part(self.films["tour.flv"][1], 4000)[1]
        data = self.fetch("tour.flv?start=4&end=6.5")[2]
        self.assert_tags(flv.media(data), [tag for tag in tags if tag.time < 2500])

    def test_head_and_conditional_requests(self):
        status, headers, body = self.fetch("tour.flv", method="HEAD")
        self.assertEqual((status, body), (200, b""))
        self.assertEqual(int(headers["Content-Length"]), len(self.fetch("tour.flv")[2]))
        for name, value in (("If-None-Match", headers["ETag"]), ("If-Modified-Since", headers["Last-Modified"])):
            for address in ("tour.flv", "tour.flv?start=4", "tour.flv?info"):
                self.assertEqual(self.fetch(address, headers={name: value})[0], 304)
        self.assertEqual(self.fetch("tour.flv", headers={"If-None-Match": '"another"'})[0], 200)
        self.assertEqual(self.fetch("tour.flv", method="POST")[0], 405)

    def test_info_describes_the_film(self):
        for name, (data, tags) in self.films.items():
            with self.subTest(film=name):
                info = json.loads(self.fetch(f"{name}?info")[2])
                tags = flv.part(tags, 0)[1]
                self.assertEqual(info["key_frames"], [tag.time / 1000 for tag in tags if tag.is_key_frame])
                self.assertEqual(info["size"], len(data))
                self.assertEqual(len(info["streams"]), len({tag.type for tag in tags}))
                self.assertAlmostEqual(info["duration"], tags[-1].time / 1000, delta=0.2)

    # RTMP

    def test_rtmp_seeks_and_pauses(self):
        tags = self.films["tour.flv"][1]
        client = self.client("tour.flv")
        seen = client.until("NetStream.Play.Complete")
        self.assert_tags([tag for tag in seen if isinstance(tag, flv.Tag)], tags)
        for start in (8100, 0, 5500):
            with self.subTest(start=start):
                client.seek(start)
                before = client.until("NetStream.Seek.Notify")
                self.assertEqual([item for item in before if isinstance(item, str)], ["NetStream.Play.Stop"])
                seen = client.until("NetStream.Play.Complete")
                begin, expected = flv.part(tags, start)
                self.assertEqual(seen[0], "metadata")
                self.assert_tags([tag for tag in seen if isinstance(tag, flv.Tag)], expected, begin)

    def test_play_with_a_duration_ends_there(self):
        seen = self.client("tour.flv start=4000 stop=6500").until("NetStream.Play.Complete")
        expected = [tag for tag in flv.part(self.films["tour.flv"][1], 4000)[1] if tag.time < 2500]
        self.assert_tags([tag for tag in seen if isinstance(tag, flv.Tag)], expected)

    def test_pause_loses_and_repeats_nothing(self):
        # What is beyond the buffer is not sent before the pauses.
        client = self.client("tour.flv", buffer=7)
        seen = [client.next() for _ in range(3)]
        for is_paused in (True, False) * 3:
            client.pause(is_paused)
            seen += client.until(f"NetStream.{'Pause' if is_paused else 'Unpause'}.Notify")
        self.assertNotIn("NetStream.Play.Complete", seen)
        seen += client.until("NetStream.Play.Complete")
        self.assert_tags([tag for tag in seen if isinstance(tag, flv.Tag)], self.films["tour.flv"][1])

    def test_rtmp_stays_in_the_folder_and_leaves_others_alone(self):
        self.assertEqual(self.rtmpdump("../outside.flv", 0), b"")
        self.assertEqual(self.rtmpdump("text.flv", 0), b"")
        self.assertGreater(len(self.rtmpdump("sorenson.flv", 0, app="own")), 100_000)

    def test_plain_edges_share_what_the_origin_reads(self):
        # 100 viewers of one scene, who start at different times, behind two caches.
        tags = flv.part(self.films["tour.flv"][1], 4000)[1]

        def watch(number):
            edge = self.server.edges[number % 2]
            address = f"http://127.0.0.1:{edge}/origin/tour.flv?start={4 + number % 10 / 10}"
            with urllib.request.urlopen(address, timeout=60) as response:
                return response.read()

        with concurrent.futures.ThreadPoolExecutor(50) as viewers:
            seen = set(viewers.map(watch, range(100)))
        self.assertEqual(len(seen), 1)
        self.assert_tags(flv.media(seen.pop()), tags)
        log = (self.server.folder / "origin.log").read_text().splitlines()
        self.assertEqual(sorted(line for line in log if line.startswith("200")), ["200 /origin/tour.flv?start=4"] * 2)
        # Each edge asks once for each other time.
        self.assertLessEqual(len(log), 2 + 2 * 9)

    # Bad luck

    def test_bad_clients_harm_nobody(self):
        worker = self.server.workers()
        request = b"GET /vod/tour.flv HTTP/1.1\r\nHost: x\r\n\r\n"
        for round_number in range(100 * ROUNDS):
            for port, greeting in ((self.server.http, request), (self.server.http, os.urandom(300)),
                                   (self.server.rtmp, b"\3" + os.urandom(1536 + round_number * 40)),
                                   (self.server.rtmp, os.urandom(5000))):
                with socket.create_connection(("127.0.0.1", port)) as client:
                    client.sendall(greeting)
                    if round_number % 3 == 0:
                        client.settimeout(1)
                        try:
                            client.recv(1000)
                        except OSError:
                            pass
        self.assertEqual(self.fetch("tour.flv")[0], 200)
        self.assertEqual(self.server.workers(), worker)

    def test_connections_leave_nothing_behind(self):
        worker = self.server.workers()[0]

        def play(count):
            for number in range(count):
                self.assertEqual(self.fetch(f"tour.flv?start={2 * (number % 5)}", method="HEAD")[0], 200)
            data = [self.fetch("sorenson.flv")[2] for _ in range(20)]
            self.assertEqual(len(set(data)), 1)

        def descriptors():
            return len(os.listdir(f"/proc/{worker}/fd"))

        def resident():
            return int(pathlib.Path(f"/proc/{worker}/statm").read_text().split()[1]) * 4096

        play(200)
        before, memory = descriptors(), resident()
        play(1000 * ROUNDS)
        # nginx closes the last connections soon.
        self.wait(lambda: descriptors() <= before)
        # The sanitizer keeps freed memory for a while.
        if "QBFLV_NGINX_PRELOAD" not in os.environ:
            self.assertLess(resident() - memory, 4 << 20)

    def test_file_may_change_while_it_plays(self):
        tour = self.films["tour.flv"][0]
        for what in ("shrink", "replace", "remove"):
            with self.subTest(what=what):
                path = self.server.folder / "films" / f"{what}.flv"
                path.write_bytes(tour)
                with urllib.request.urlopen(self.server.film_url(path.name, "slow"), timeout=30) as response:
                    begin = response.read(1000)
                    if what == "shrink":
                        os.truncate(path, 150_000)
                    elif what == "remove":
                        path.unlink()
                    else:
                        (path.with_suffix(".new")).write_bytes(self.films["sorenson.flv"][0])
                        path.with_suffix(".new").rename(path)
                    try:
                        rest = response.read()
                    except Exception:
                        self.assertEqual(what, "shrink")
                        continue
                if what != "shrink":
                    self.assert_tags(flv.media(begin + rest), self.films["tour.flv"][1])
        self.assertEqual(self.fetch("replace.flv")[2], self.fetch("sorenson.flv")[2])

    def test_reload_with_viewers(self):
        for _ in range(5 * ROUNDS):
            slow = urllib.request.urlopen(self.server.film_url("tour.flv", "slow"), timeout=30)
            client = self.client("tour.flv")
            self.server.reload()
            self.assertEqual(self.fetch("tour.flv")[0], 200)
            self.assert_tags(flv.media(slow.read()), self.films["tour.flv"][1])
            seen = client.until("NetStream.Play.Complete")
            self.assert_tags([tag for tag in seen if isinstance(tag, flv.Tag)], self.films["tour.flv"][1])
            slow.close()
            client.disconnect()
        self.wait(lambda: len(self.server.workers()) == 1)


if __name__ == "__main__":
    MODULES, SAMPLES = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
