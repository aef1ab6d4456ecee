"""Compares the modules inside nginx with nginx's own modules: server_bench.py MODULES FILM OUT.json

The worker is pinned to one processor, the clients to the others. The systems take turns. Costs are those of the best round;
times to the first frame are medians and 99th percentiles.
"""

import json
import os
import pathlib
import socket
import statistics
import subprocess
import sys
import time
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "server"))
import flv  # noqa: E402
from rtmp_client import Client  # noqa: E402
from server import Server  # noqa: E402
from server_viewers import watch_over_http, watch_over_rtmp  # noqa: E402

ROUNDS = int(os.environ.get("QBFLV_BENCH_ROUNDS", "5"))
STALLED = int(os.environ.get("QBFLV_BENCH_STALLED", "1000"))
VIEWERS = int(os.environ.get("QBFLV_BENCH_VIEWERS", "1000"))
VIEWERS_SECONDS = int(os.environ.get("QBFLV_BENCH_SECONDS", "20"))
FILM = "film.flv"


class Bench:
    def __init__(self, modules, film):
        self.film = film
        tags = flv.media(film)
        self.packets = len(tags)
        self.seconds = tags[-1].time / 1000
        # The default of nginx, so that it does not disconnect the stalled viewers.
        self.server = Server(modules, {FILM: film}, timeout=60)
        self.processors = sorted(os.sched_getaffinity(0))
        os.sched_setaffinity(0, set(self.processors[1:]) or {self.processors[0]})
        self.pin_worker()
        self.rtmp = f"rtmp://127.0.0.1:{self.server.rtmp}"

    def pin_worker(self):
        self.worker = self.server.workers()[-1]
        for thread in os.listdir(f"/proc/{self.worker}/task"):
            os.sched_setaffinity(int(thread), {self.processors[0]})

    def processor_time(self):
        """User and system time of the worker, in s."""
        fields = pathlib.Path(f"/proc/{self.worker}/stat").read_text().rsplit(") ", 1)[1].split()
        return [int(field) / os.sysconf("SC_CLK_TCK") for field in fields[11:13]]

    def resident(self):
        return int(pathlib.Path(f"/proc/{self.worker}/statm").read_text().split()[1]) * 4096

    def http(self, location, arguments=""):
        url = self.server.film_url(FILM, location) + arguments
        subprocess.run(["curl", "-sSfL", "-o", "/dev/null", url], check=True)
        return self.packets

    def rtmpdump(self, application):
        path = self.server.folder / "dump.flv"
        subprocess.run(["rtmpdump", "-q", "-r", f"{self.rtmp}/{application}", "-y", FILM, "-o", path], check=False)
        return len(flv.media(path.read_bytes()))

    def cost(self, play, times):
        """Returns the worker's user and system time per delivered packet in µs, and the packets per play."""
        before = self.processor_time()
        packets = sum(play() for _ in range(times))
        used = [(after - start) * 1e6 / packets for start, after in zip(before, self.processor_time())]
        return used + [packets / times]

    def costs(self):
        systems = {
            "HTTP, this module": (lambda: self.http("vod"), 20),
            # Almost the whole film, with other timestamps.
            "HTTP, this module, a part": (lambda: self.http("vod", "?start=2"), 20),
            "HTTP, sendfile": (lambda: self.http("plain"), 20),
            "HTTP, sendfile, no threads": (lambda: self.http("direct"), 20),
            "RTMP, this module": (lambda: self.rtmpdump("vod"), 6),
            "RTMP, nginx's own reader": (lambda: self.rtmpdump("own"), 6),
        }
        results = {name: [] for name in systems}
        for _ in range(ROUNDS):
            for name, (play, times) in systems.items():
                results[name].append(self.cost(play, times))
        best = {name: min(rounds, key=lambda used: used[0] + used[1]) for name, rounds in results.items()}
        return {name: {"user_us": round(user, 3), "system_us": round(system, 3), "us": round(user + system, 3),
                       "packets": packets} for name, (user, system, packets) in best.items()}

    def new_worker(self):
        """Starts a new worker, whose heap has no freed memory, and puts the film into its cache."""
        self.server.reload()
        self.server.wait(lambda: len(self.server.workers()) == 1, "the old worker stays")
        self.pin_worker()
        self.http("vod")

    def paced(self):
        """Measures the worker's share of the processor with many viewers at once, and the delay of their packets."""
        def measure(action):
            before, begin = sum(self.processor_time()), time.monotonic()
            action()
            seconds, used = time.monotonic() - begin, sum(self.processor_time()) - before
            packets = VIEWERS * seconds * self.packets / self.seconds
            return {"processor_percent": round(used / seconds * 100, 1), "us": round(used * 1e6 / packets, 2)}

        results = {}
        for name, location in (("HTTP, this module", "vod"), ("HTTP, sendfile", "plain")):
            self.new_worker()
            results[name] = watch_over_http(VIEWERS, self.server.http, f"/{location}/{FILM}",
                                            len(self.film) / self.seconds, measure, VIEWERS_SECONDS)
        for name, application in (("RTMP, this module", "vod"), ("RTMP, nginx's own reader", "own")):
            self.new_worker()
            results[name] = watch_over_rtmp(VIEWERS, f"{self.rtmp}/{application}/{FILM}", measure, VIEWERS_SECONDS)
        return results

    def stalled(self, connect):
        """Returns stalled viewers, which read nothing, and the worker's memory for each of them in KiB."""
        self.new_worker()
        before = self.resident()
        viewers = [connect() for _ in range(STALLED)]
        time.sleep(1)
        size = (self.resident() - before) / 1024 / STALLED
        return viewers, size

    def stalled_http(self, location):
        def connect():
            viewer = socket.socket()
            viewer.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            viewer.connect(("127.0.0.1", self.server.http))
            viewer.sendall(f"GET /{location}/{FILM} HTTP/1.1\r\nHost: x\r\n\r\n".encode())
            return viewer

        viewers, size = self.stalled(connect)
        for viewer in viewers:
            viewer.close()
        time.sleep(0.5)
        return round(size, 1)

    def stalled_rtmp(self, application):
        viewers, size = self.stalled(lambda: Client(f"{self.rtmp}/{application}/{FILM}"))
        for viewer in viewers:
            viewer.close()
        time.sleep(0.5)
        return round(size, 1)

    def seek_times(self):
        """Returns the times from the seek to the first frame in ms: median and 99th percentile."""
        results = {}
        times = []
        client = Client(f"{self.rtmp}/vod/{FILM}", buffer=1)
        for number in range(200):
            begin = time.perf_counter()
            client.seek((number * 7919) % 590 * 1000)
            client.until("metadata")
            while not isinstance(client.next(), flv.Tag):
                pass
            times.append((time.perf_counter() - begin) * 1000)
        client.close()
        results["RTMP, warm"] = times
        for name, is_cold in (("HTTP, warm", False), ("HTTP, not in the cache", True)):
            times = []
            for number in range(40 if is_cold else 200):
                film = f"cold-{number}.flv" if is_cold else FILM
                if is_cold:
                    (self.server.folder / "films" / film).write_bytes(self.film)
                begin = time.perf_counter()
                url = self.server.film_url(f"{film}?start={(number * 7919) % 590}", "blocking" if not is_cold else "vod")
                with urllib.request.urlopen(url) as response:
                    response.read(8192)
                times.append((time.perf_counter() - begin) * 1000)
                if is_cold:
                    (self.server.folder / "films" / film).unlink()
            results[name] = times
        return {name: {"median_ms": round(statistics.median(times), 2),
                       "p99_ms": round(sorted(times)[int(len(times) * 0.99)], 2)} for name, times in results.items()}


def main():
    modules, film, out = sys.argv[1:]
    bench = Bench(pathlib.Path(modules).resolve(), pathlib.Path(film).read_bytes())
    try:
        results = {"packets": bench.packets, "seek": bench.seek_times(), "cost": bench.costs(),
                   "paced": bench.paced()}
        results["stalled_kib"] = {
            "HTTP, this module": bench.stalled_http("vod"), "HTTP, sendfile": bench.stalled_http("plain"),
            "RTMP, this module": bench.stalled_rtmp("vod"), "RTMP, nginx's own reader": bench.stalled_rtmp("own")}
        pathlib.Path(out).write_text(json.dumps(results, indent=2) + "\n")
        print(json.dumps(results, indent=2))
    finally:
        bench.server.close()


if __name__ == "__main__":
    main()
