"""Many viewers at once who read a film as fast as it plays.

HTTP: each viewer reads every 200 ms the bytes that are due. Its delay is the playing time of the bytes that are missing.
RTMP: the server paces, by the buffer length that the viewer announces. Some viewers parse each packet. The delay of a
packet is the difference between its latency and the smallest latency of this viewer's packets. The other viewers read
all bytes that arrive, and do not parse them.
"""

import ctypes
import socket
import sys
import threading
import time

import flv
from rtmp_client import Client, librtmp

TURNS = 20
TURN = 0.01
# In s; also librtmp's wait for a packet is bounded.
BUFFER = 2
WATCHED = 50


class HttpViewer:
    def __init__(self, port, address, bytes_per_second):
        self.rate = bytes_per_second
        self.received = 0
        self.late = []
        self.socket = socket.socket()
        # The buffer holds about a second of film, in segments as on Ethernet. With the segments of loopback, sockets hold
        # half a minute of film, and the server would fill them before the measurement.
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 16)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG, 1448)
        self.socket.settimeout(60)
        self.socket.connect(("127.0.0.1", port))
        self.socket.sendall(f"GET {address} HTTP/1.0\r\nHost: x\r\n\r\n".encode())
        self.received = len(self.socket.recv(1024))
        self.begin = time.monotonic() - self.received / self.rate
        self.socket.setblocking(False)

    def take(self, memory):
        wanted = int((time.monotonic() - self.begin) * self.rate) - self.received
        while wanted > 0:
            try:
                size = self.socket.recv_into(memory, min(wanted, len(memory)))
            except BlockingIOError:
                break
            if size == 0:
                raise RuntimeError("the film ended early")
            self.received += size
            wanted -= size
        self.late.append(max(wanted, 0) / self.rate)

    def close(self):
        self.socket.close()


class RtmpViewer:
    def __init__(self, url):
        self.client = Client(url, buffer=BUFFER)
        self.socket = socket.socket(fileno=librtmp.RTMP_Socket(self.client.handle))

    def take(self, memory):
        try:
            while self.socket.recv_into(memory, len(memory), socket.MSG_DONTWAIT) == len(memory):
                pass
        except BlockingIOError:
            pass

    def close(self):
        self.socket.detach()
        self.client.close()


class WatchedRtmpViewer(threading.Thread):
    """Records the arrival time of each packet."""

    def __init__(self, url, end):
        super().__init__()
        self.client = Client(url, buffer=BUFFER)
        self.end = end
        self.lags = []
        self.start()

    def run(self):
        while not self.end.is_set():
            tag = self.client.next()
            if tag is None:
                return
            if isinstance(tag, flv.Tag):
                self.lags.append((tag.time, time.monotonic() - tag.time / 1000))

    def late(self):
        # The server sends the first buffer at once, without pacing.
        lags = [lag for moment, lag in self.lags if moment > BUFFER * 1000]
        return [lag - min(lags) for lag in lags]

    def close(self):
        self.join(60)
        self.client.close()


def run_turns(viewers, seconds):
    memory = memoryview(bytearray(1 << 18))
    next_turn, end, turn = time.monotonic(), time.monotonic() + seconds, 0
    while time.monotonic() < end:
        for viewer in viewers[turn % TURNS :: TURNS]:
            viewer.take(memory)
        turn += 1
        next_turn += TURN
        time.sleep(max(next_turn - time.monotonic(), 0))


def summary(late):
    late = sorted(late)
    return {"median_ms": round(late[len(late) // 2] * 1000, 1), "p99_ms": round(late[len(late) * 99 // 100] * 1000, 1),
            "latest_ms": round(late[-1] * 1000, 1)}


def watch_over_http(count, port, address, bytes_per_second, measure, seconds):
    """measure(action): runs the action and returns what the server used meanwhile."""
    viewers = []
    for _ in range(count):
        viewers.append(HttpViewer(port, address, bytes_per_second))
        # The connected viewers play while the others connect.
        if len(viewers) % 50 == 0:
            run_turns(viewers, TURNS * TURN)
    run_turns(viewers, 5)
    for viewer in viewers:
        viewer.late.clear()
    used = measure(lambda: run_turns(viewers, seconds))
    for viewer in viewers:
        viewer.close()
    return used | summary([late for viewer in viewers for late in viewer.late])


def watch_over_rtmp(count, url, measure, seconds):
    librtmp.RTMP_Socket.argtypes = [ctypes.c_void_p]
    sys.setswitchinterval(0.0005)
    end = threading.Event()
    others = []
    for _ in range(max(count - WATCHED, 0)):
        others.append(RtmpViewer(url))
        if len(others) % 50 == 0:
            run_turns(others, TURNS * TURN)
    watched = [WatchedRtmpViewer(url, end) for _ in range(min(count, WATCHED))]
    run_turns(others, BUFFER + 1)
    for viewer in watched:
        viewer.lags.clear()
    used = measure(lambda: run_turns(others, seconds))
    end.set()
    for viewer in watched + others:
        viewer.close()
    return used | summary([late for viewer in watched for late in viewer.late()])
