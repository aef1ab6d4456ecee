"""Tests the modules inside nginx with real clients: server_test.py MODULES SAMPLES [TEST…]

Compares all films, start times and protocols with an independent reading of the files.
"""

import concurrent.futures
import json
import re
import urllib.request

import flv
from films import run
from server_case import ServerCase, main

STARTS = (0, 4000, 5500, 7900)


class ServerTest(ServerCase):
    @classmethod
    def more_films(cls):
        tour = cls.films["tour.flv"][0]
        return {"text.flv": (b"This is no film.\n",), "empty.flv": (b"",), "no-media.flv": (flv.write([], 5),),
                "a b%+&.flv": (tour,), "ä'\"#?.flv": (tour,)}

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
                    data, _ = self.rtmpdump(name, start)
                    # rtmpdump adds the requested start time to the timestamps, and omits end-of-sequence tags.
                    expected = [tag for tag in expected if len(tag.body) > 5]
                    self.assert_tags(flv.media(data), expected, start)
                    self.assert_decodes(data)

    def test_players_play_both_protocols(self):
        """ffprobe counts packets; mpv decodes, and prints the time of each frame."""
        tags = self.films["tour.flv"][1]
        parts = {start: flv.part(tags, start)[1] for start in (0, 5500)}
        pictures = {start: {tag.time + tag.composition for tag in part if tag.is_frame and tag.type == flv.VIDEO}
                    for start, part in parts.items()}
        film = self.server.film_url("tour.flv")
        # The seek ends at the key frame. Over RTMP the timestamps after it are times of the film.
        for url, options, start, begin in ((film, (), 0, 0), (f"{film}?start=5.5", (), 5500, 0),
                                           (self.rtmp_url("tour.flv"), (), 0, 0),
                                           (self.rtmp_url("tour.flv"), ("--start=5.5", "--hr-seek=no"), 5500, 4000)):
            with self.subTest(url=url, start=start):
                code, _, error = run("mpv", "--no-config", "--vo=null", "--ao=null", "--untimed",
                                     "--rebase-start-time=no", "--msg-level=all=warn,statusline=status",
                                     "--term-status-msg=<${=time-pos}>", *options, url)
                times = [round(float(time) * 1000) - begin for time in re.findall(r"<([0-9.]+)>", error)]
                # After the last picture mpv may print the time of the audio.
                times = [time for time in times if time <= max(pictures[start])]
                warnings = re.sub(r"<[^>]*>|\x1b\[K|\s", "", error)
                self.assertEqual((code, warnings), (0, ""))
                self.assertEqual(set(times) - pictures[start], set())
                self.assertEqual(times[0], min(pictures[start]))
                # mpv may be too slow to print the time of every frame.
                self.assertGreaterEqual(len(times), len(pictures[start]) * 0.9)
                if options:
                    continue
                code, out, error = run("ffprobe", "-v", "error", "-count_packets", "-show_entries",
                                       "stream=codec_name,nb_read_packets", "-of", "csv=p=0", url)
                counts = {name: sum(tag.is_frame for tag in parts[start] if tag.type == kind)
                          for name, kind in (("h264", flv.VIDEO), ("aac", flv.AUDIO))}
                self.assertEqual((code, error), (0, ""))
                self.assertEqual(sorted(out.decode().split()), sorted(f"{n},{count}" for n, count in counts.items()))

    # HTTP

    def test_each_address_has_its_answer(self):
        cases = (
            ("tour.flv", 200, None), ("tour.flv?start=4", 200, None), ("tour.flv?start=4&end=6", 200, None),
            ("tour.flv?start=5.5", 302, "./tour.flv?start=4"), ("tour.flv?x=1&start=0%3A05.5&end=7", 302,
                                                                "./tour.flv?start=4&x=1&end=7"),
            ("a%20b%25+%26.flv?start=5.5", 302, "./a%20b%25+%26.flv?start=4"), ("tour.flv?start=0", 302, "./tour.flv"),
            ("tour.flv?start=4.0", 302, "./tour.flv?start=4"),
            # The server rewrites these to start=5.5 and start=5.5&start=4.
            ("from/5.5/tour.flv", 302, "./tour.flv?start=4"), ("from/5.5/tour.flv?start=4", 200, None),
            ("tour.flv?start=11", 416, "The last frame of this film is at 10.065 s."),
            ("tour.flv?start=4&end=3", 416, "The end is not after the start."),
            ("tour.flv?start=soon", 400, "A time is written as 61.5 or 1:01.5."),
            ("tour.flv?start=-1", 400, "A time is written as 61.5 or 1:01.5."),
            ("none.flv", 404, "There is no such film."), ("text.flv", 415, "This is not an FLV file."),
            ("empty.flv", 415, "This is not an FLV file."), ("empty.flv?info", 415, "This is not an FLV file."),
            ("no-media.flv", 415, "This film has neither audio nor video."),
            ("%C3%A4'%22%23%3F.flv?start=4", 200, None), ("%2e%2e/outside.flv", 404, None), ("none/", 404, None))
        for address, status, what in cases:
            with self.subTest(address=address):
                out = self.curl(address, "-D", "-", "-o", "/dev/null" if status == 200 else "-").decode(errors="replace")
                self.assertIn(f"HTTP/1.1 {status} ", out)
                if status == 302:
                    self.assertIn(f"Location: {what}\r\n", out)
                elif what:
                    self.assertTrue(out.endswith(f"\r\n\r\n{what}\n"), out)

    def test_end_omits_later_frames(self):
        tags = flv.part(self.films["tour.flv"][1], 4000)[1]
        # A key frame has this time.
        data = self.fetch("tour.flv?start=4&end=6")[2]
        self.assert_tags(flv.media(data), [tag for tag in tags if tag.time < 2000])

    def test_head_and_conditional_requests(self):
        status, headers, body = self.fetch("tour.flv", method="HEAD")
        self.assertEqual((status, body), (200, b""))
        self.assertEqual(int(headers["Content-Length"]), len(self.fetch("tour.flv")[2]))
        for name, value in (("If-None-Match", headers["ETag"]), ("If-Modified-Since", headers["Last-Modified"])):
            for address in ("tour.flv", "tour.flv?start=4", "tour.flv?info"):
                self.assertEqual(self.fetch(address, headers={name: value})[0], 304)
        self.assertEqual(self.fetch("tour.flv", headers={"If-None-Match": '"another"'})[0], 200)
        self.assertEqual(self.fetch("text.flv", method="HEAD")[::2], (415, b""))
        # The server ignores byte ranges and sends the whole film.
        self.assertEqual(self.fetch("tour.flv", headers={"Range": "bytes=100-"})[::2], (200, self.fetch("tour.flv")[2]))
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

    def test_rtmp_seeks_after_the_end(self):
        tags = self.films["tour.flv"][1]
        client = self.client("tour.flv")
        self.assert_tags(client.until("NetStream.Play.Complete"), tags)
        for start in (8100, 0, 3_600_000, 5500):
            with self.subTest(start=start):
                self.assert_seeks(client, start, "NetStream.Play.Stop")
                begin, expected = flv.part(tags, start) if start < 10_000 else (0, [])
                self.assert_tags(client.until("NetStream.Play.Complete"), expected, begin)
        # The server must not send a second "Complete".
        self.assert_seeks(client, 0, "NetStream.Play.Stop")

    def test_rtmp_seeks_and_pauses_during_play(self):
        tags = self.films["tour.flv"][1]
        # With a short buffer the server waits for the clock when a seek arrives.
        client = self.client("tour.flv", buffer=1)
        for start in (5500, 100, 8100):
            self.assertIsInstance(client.until_frame(), flv.Tag)
            self.assert_seeks(client, start)
        client.pause(True)
        seen = client.until("NetStream.Pause.Notify")
        # Tags of the new part may arrive before and after the pause.
        client.pause(False)
        seen += client.until("NetStream.Unpause.Notify") + client.until("NetStream.Play.Complete")
        begin, expected = flv.part(tags, 8100)
        self.assert_tags(seen, expected, begin)
        self.assert_seeks(client, 0, "NetStream.Play.Stop")

    def assert_seeks(self, client, start, *statuses):
        """Seeks, and checks that only these statuses arrive before its notification."""
        client.seek(start)
        seen = client.until("NetStream.Seek.Notify")
        self.assertEqual([item for item in seen if str(item).startswith("NetStream")], list(statuses))

    def test_play_with_a_duration_ends_there(self):
        seen = self.client("tour.flv start=4000 stop=6500").until("NetStream.Play.Complete")
        expected = [tag for tag in flv.part(self.films["tour.flv"][1], 4000)[1] if tag.time < 2500]
        self.assert_tags(seen, expected)

    def test_pause_loses_and_repeats_nothing(self):
        # The film is longer than the buffer, so the server has tags to send after the pauses.
        client = self.client("tour.flv", buffer=7)
        seen = [client.next() for _ in range(3)]
        for is_paused in (True, False) * 3:
            client.pause(is_paused)
            seen += client.until(f"NetStream.{'Pause' if is_paused else 'Unpause'}.Notify")
        self.assertNotIn("NetStream.Play.Complete", seen)
        seen += client.until("NetStream.Play.Complete")
        self.assert_tags(seen, self.films["tour.flv"][1])

    def test_rtmp_stays_in_the_folder_and_leaves_others_alone(self):
        # outside.flv exists in the parent folder.
        not_found, failed = "NetStream.Play.StreamNotFound", "NetStream.Play.Failed"
        for name, status in (("../outside.flv", not_found), ("../films/../outside.flv", not_found),
                             ("mp4:../outside.mp4", not_found), ("none.flv", not_found), ("text.flv", failed),
                             ("no-media.flv", failed)):
            with self.subTest(name=name):
                data, log = self.rtmpdump(name, verbosity="-V")
                self.assertEqual(data, b"")
                self.assertIn(status, log)
        self.assertGreater(len(self.rtmpdump("sorenson.flv", app="own")[0]), 100_000)

    def test_plain_edges_share_what_the_origin_reads(self):
        # 100 viewers behind two caches start at different times that lead to the same key frame.
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
        # Each edge requests each of the other times once, for the redirect.
        self.assertLessEqual(len(log), 2 + 2 * 9)


if __name__ == "__main__":
    main()
