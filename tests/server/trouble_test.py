"""Tests the modules inside nginx with clients, files and administrators that cause trouble:
trouble_test.py MODULES SAMPLES [TEST…]

QBFLV_RELOADS and QBFLV_CONNECTIONS set the number of reloads (default: 50) and connections (default: 10000).
"""

import collections
import concurrent.futures
import http.client
import json
import os
import random
import socket
import time
import urllib.request

import flv
from films import key_frames, long_tags, scattered_tags
from server_case import IS_SANITIZED, ServerCase, main

RELOADS = int(os.environ.get("QBFLV_RELOADS", "50"))
CONNECTIONS = int(os.environ.get("QBFLV_CONNECTIONS", "2000" if IS_SANITIZED else "10000"))


def request(name, version="1.1"):
    return f"GET /vod/{name} HTTP/{version}\r\nHost: x\r\n\r\n".encode()


class TroubleTest(ServerCase):
    @classmethod
    def more_films(cls):
        long = long_tags()  # larger than all sockets and queues between server and client
        scattered, scattered_file = scattered_tags()
        keys = key_frames()
        large = [flv.Tag(flv.VIDEO, number * 40, b"\x12" + bytes(1 << 20)) for number in range(32)]
        return {"long.flv": (flv.write(long), long), "scattered.flv": (flv.write(scattered_file), scattered),
                "key-frames.flv": (flv.write(keys), keys), "large.flv": (flv.write(large), large)}

    def connect(self, port, greeting=b"", buffer=None):
        client = socket.socket()
        self.addCleanup(client.close)
        if buffer:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, buffer)
        client.settimeout(60)
        client.connect(("127.0.0.1", port))
        client.sendall(greeting)
        return client

    def open(self, name, location="vod"):
        return urllib.request.urlopen(self.server.film_url(name, location), timeout=60)

    # Clients

    def test_bad_clients_harm_nobody(self):
        worker = self.server.workers()
        noise = random.Random(1)
        for round_number in range(100):
            greetings = ((self.server.http, request("long.flv")), (self.server.http, noise.randbytes(300)),
                         (self.server.http, request("tour.flv?start=" + "9" * round_number)),
                         # The handshake, followed by random messages.
                         (self.server.rtmp, b"\3" + noise.randbytes(1536 + round_number * 40)),
                         (self.server.rtmp, noise.randbytes(5000)))
            for port, greeting in greetings:
                with self.connect(port, greeting) as client:
                    if round_number % 3 == 0:
                        client.settimeout(0.2)
                        try:
                            client.recv(1000)
                        except OSError:
                            pass
        self.assertEqual(self.fetch("tour.flv")[0], 200)
        self.assertEqual(self.server.workers(), worker)

    def test_commands_come_in_any_order(self):
        worker = self.server.workers()
        before = self.server.descriptors(worker[0])
        noise = random.Random(2)
        for _ in range(100):
            client = self.client(noise.choice(("tour.flv", "long.flv", "audio-only.flv")), buffer=noise.choice((1, 3600)))
            for _ in range(12):
                when = noise.choice((0, 5500, 9000, -1, 1e9, 1e300, float("nan")))
                commands = (("seek", when), ("pause", True, when), ("pause", False, when), ("closeStream",),
                            ("deleteStream", 1), ("play", noise.choice(("tour.flv", "text.flv", "../a")), when / 1000),
                            ("play", "sorenson.flv", when, noise.choice((-1, 0, 2, 1e300))), ("receiveVideo", False))
                if not client.command(*noise.choice(commands)):
                    break
                time.sleep(noise.choice((0, 0.001, 0.01)))
            client.disconnect()
        self.wait(lambda: self.server.descriptors(worker[0]) <= before)
        self.assert_tags(self.client("tour.flv").until("NetStream.Play.Complete"), self.films["tour.flv"][1])
        self.assertEqual(self.server.workers(), worker)

    def test_slow_clients_lose_nothing(self):
        tags = self.more["long.flv"][1]
        part = flv.part(tags, 4000)[1]
        with self.open("long.flv?start=4") as over_http:
            over_rtmp = self.client("long.flv start=4000")
            # Wait until the sockets and the queue are full.
            time.sleep(2)
            self.assert_tags(flv.media(over_http.read()), part)
            self.assert_tags(over_rtmp.until("NetStream.Play.Complete"), part)

    def test_slow_client_gets_the_whole_description(self):
        client = self.connect(self.server.narrow, request("key-frames.flv?info", "1.0"), buffer=4096)
        # Wait until the sockets are full.
        time.sleep(1)
        with client.makefile("rb") as response:
            body = response.read().partition(b"\r\n\r\n")[2]
        # At most 4096 of 20,000 key frames.
        expected = [tag.time / 1000 for tag in self.more["key-frames.flv"][1]][::5]
        self.assertEqual(json.loads(body)["key_frames"], expected)

    def test_large_frames_do_not_fill_memory(self):
        worker = self.server.workers()[0]
        before = self.server.resident(worker)
        client, restless = self.client("large.flv"), self.client("large.flv")
        for _ in range(10):
            time.sleep(0.1)
            restless.command("closeStream")
            restless.command("play", "large.flv")
        # The sanitizer needs memory of its own.
        if not IS_SANITIZED:
            self.assertLess(self.server.resident(worker) - before, 12 << 20)
        self.assert_tags(client.until("NetStream.Play.Complete"), self.more["large.flv"][1])

    def test_stalled_clients_are_disconnected(self):
        worker = self.server.workers()[0]
        before = self.server.descriptors(worker)
        for _ in range(5):
            self.connect(self.server.http, request("long.flv"))
            self.connect(self.server.http, request("long.flv")[:20])
            self.connect(self.server.rtmp, b"\3" + bytes(1000))
            self.client("long.flv")
        self.assertGreaterEqual(self.server.descriptors(worker), before + 20)
        self.wait(lambda: self.server.descriptors(worker) <= before)

    def test_connections_leave_nothing_behind(self):
        worker = self.server.workers()[0]

        answers = (("tour.flv?start=8", b" 200 "), ("tour.flv?start=5", b" 302 "), ("tour.flv?start=11", b" 416 "),
                   ("sorenson.flv", b" 200 "))

        def visit(number):
            if number % 5 == 4:
                self.client("tour.flv", buffer=1).close()
                return
            name, status = answers[number % 5]
            with self.connect(self.server.http, request(name, "1.0")) as client:
                self.assertIn(status, client.recv(1000))
                # The last kind of client disconnects in the middle of the film.
                while number % 5 < 3 and client.recv(1 << 16):
                    pass

        for number in range(CONNECTIONS // 10):
            visit(number)
        before, memory = self.server.descriptors(worker), self.server.resident(worker)
        for number in range(CONNECTIONS):
            visit(number)
        # nginx may need a moment to close the last connections.
        self.wait(lambda: self.server.descriptors(worker) <= before)
        # The sanitizer keeps freed memory for a while. It reports leaks when the worker ends.
        if not IS_SANITIZED:
            self.assertLess(self.server.resident(worker) - memory, 4 << 20)

    # Files

    def test_tags_may_be_scattered_over_the_file(self):
        self.assert_tags(flv.media(self.fetch("scattered.flv")[2]), self.more["scattered.flv"][1])

    def test_file_may_change_while_it_plays(self):
        data, tags = self.more["long.flv"]
        for what in ("shrink", "replace", "remove"):
            path = self.server.folder / "films" / f"{what}.flv"
            path.write_bytes(data)
            whole, part = self.open(path.name), self.open(f"{path.name}?start=4")
            over_rtmp = self.client(path.name)
            # No client has received anything yet, so the server has not read most of the film.
            if what == "shrink":
                os.truncate(path, len(data) * 3 // 4)
            elif what == "remove":
                path.unlink()
            else:
                path.with_suffix(".new").write_bytes(self.films["sorenson.flv"][0])
                path.with_suffix(".new").rename(path)
            for response, expected in ((whole, tags), (part, flv.part(tags, 4000)[1])):
                with self.subTest(what=what, url=response.url), response:
                    if what == "shrink":
                        # The client must notice that the film is incomplete.
                        self.assertRaises(http.client.IncompleteRead, response.read)
                    else:
                        self.assert_tags(flv.media(response.read()), expected)
            with self.subTest(what=what, protocol="RTMP"):
                seen = [item for item in over_rtmp.until("NetStream.Play.Complete") if isinstance(item, flv.Tag)]
                self.assertLess(len(tags) // 2, len(seen))
                self.assertEqual(len(seen) < len(tags), what == "shrink")
                self.assertEqual(set(seen) - set(tags), set())
        self.assertEqual(self.fetch("replace.flv")[2], self.fetch("sorenson.flv")[2])
        self.assertEqual(self.fetch("remove.flv")[0], 404)

    # Administrators

    def test_configuration_without_a_plugin_is_rejected(self):
        for block in ("http {", "rtmp {"):
            for plugin, result in (("none.so", '"qbflv_plugin": cannot read "/'), (__file__, "test is successful")):
                with self.subTest(block=block, plugin=plugin):
                    self.assertIn(result, self.server.check(block, f"{block} qbflv_plugin {plugin};"))

    def test_reload_with_viewers(self):
        tags = self.films["tour.flv"][1]
        master = self.server.process.pid
        viewers = collections.deque()

        def finish():
            slow, client = viewers.popleft()
            with slow:
                self.assert_tags(flv.media(slow.read()), tags)
            self.assert_tags(client.until("NetStream.Play.Complete"), tags)
            client.close()

        self.server.reload()
        before = self.server.descriptors(master)
        for _ in range(RELOADS):
            # The viewers keep their worker for some seconds, so that several generations of workers run.
            viewers.append((self.open("tour.flv", "slow"), self.client("tour.flv")))
            self.server.reload()
            self.assertEqual(self.fetch("tour.flv?start=4")[0], 200)
            if len(viewers) > 8:
                finish()
        while viewers:
            finish()
        self.wait(lambda: len(self.server.workers()) == 1)
        self.assertLessEqual(self.server.descriptors(master), before)

    def test_reload_lets_fast_downloads_end(self):
        # The client takes everything at once, so the worker is often between two batches when it gets the signal.
        size = len(self.fetch("long.flv", "blocking")[2])
        with concurrent.futures.ThreadPoolExecutor(1) as administrator:
            reloads = administrator.submit(lambda: [self.server.reload() for _ in range(RELOADS)])
            while not reloads.done():
                self.assertEqual(len(self.fetch("long.flv", "blocking")[2]), size)
        reloads.result()

    def test_reload_waits_for_the_pass_over_a_film(self):
        # When the worker gets the signal to quit, the thread pool still reads the films of these requests.
        data = self.more["long.flv"][0]
        for round_number in range(10):
            names = [f"new-{round_number}-{number}.flv" for number in range(12)]
            for name in names:
                (self.server.folder / "films" / name).write_bytes(data)
            self.server.reload()
            # nginx signals the old worker 0.1 s after it has started the new one.
            clients = []
            for name in names:
                clients.append(self.connect(self.server.http, request(f"{name}?info", "1.0")))
                time.sleep(0.015)
            for client, name in zip(clients, names):
                self.assertIn(b" 200 OK\r\n", client.recv(1000))
                (self.server.folder / "films" / name).unlink()


if __name__ == "__main__":
    main()
