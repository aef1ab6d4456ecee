"""The base class of the server's tests: a server for each class of tests, clients, and comparisons."""

import os
import pathlib
import sys
import time
import unittest
import urllib.error
import urllib.request

import flv
from films import make_films, run
from rtmp_client import Client
from server import Server

IS_SANITIZED = "QBFLV_NGINX_PRELOAD" in os.environ


def digest(tags, kind, shift=0):
    return [(tag.time + shift, len(tag.body), hash(tag.body)) for tag in tags if tag.type == kind]


class ServerCase(unittest.TestCase):
    modules = samples = None

    @classmethod
    def more_films(cls):
        """Returns more films for this class of tests, by name: the bytes, and the tags if the film is playable."""
        return {}

    @classmethod
    def setUpClass(cls):
        cls.films = make_films(cls.samples)
        cls.more = cls.more_films()
        cls.server = Server(cls.modules, {name: film[0] for name, film in (cls.films | cls.more).items()})

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

    def rtmp_url(self, name, app="vod"):
        return f"rtmp://127.0.0.1:{self.server.rtmp}/{app}/{name}"

    def rtmpdump(self, name, start=0, app="vod", verbosity="-q"):
        """Returns the data that arrives and the log."""
        return run("rtmpdump", verbosity, "-r", f"rtmp://127.0.0.1:{self.server.rtmp}/{app}", "-y", name, "--start",
                   start / 1000, "-o", "-")[1:]

    def client(self, name, **options):
        client = Client(self.rtmp_url(name), **options)
        self.addCleanup(client.close)
        return client

    def assert_decodes(self, data):
        code, _, error = run("ffmpeg", "-v", "error", "-i", "-", "-f", "null", "-", data=data)
        self.assertEqual((code, error), (0, ""))

    def assert_tags(self, got, expected, shift=0):
        """Compares the tags of each stream. Ignores statuses in got."""
        got = [tag for tag in got if isinstance(tag, flv.Tag)]
        for kind in (flv.VIDEO, flv.AUDIO):
            self.assertEqual(digest(got, kind), digest(expected, kind, shift))

    def wait(self, condition, seconds=60):
        end = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)


def main():
    """Runs the tests of a file: FILE MODULES SAMPLES [TEST…]"""
    ServerCase.modules, ServerCase.samples = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    unittest.main(module="__main__", argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
