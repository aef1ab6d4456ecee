"""Runs nginx with the modules on free ports, in a temporary folder."""

import os
import pathlib
import random
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time

# Debian has no /usr/sbin in the PATH of normal users.
NGINX = shutil.which("nginx") or "/usr/sbin/nginx"

CONFIGURATION = """
load_module {modules}/ngx_http_qbflv_module.so;
load_module /usr/lib/nginx/modules/ngx_rtmp_module.so;
load_module {modules}/ngx_rtmp_qbflv_module.so;
daemon off; worker_processes 1; pid {folder}/nginx.pid; error_log {folder}/error.log info; {user}
events {{ worker_connections 2048; }}
http {{
  log_format addresses "$status $request_uri"; access_log off; aio threads; {temporary}
  send_timeout {timeout}s; client_header_timeout {timeout}s;
  server {{
    listen 127.0.0.1:{http};
    rewrite ^/vod/from/(.*)/(.*)$ /vod/$2?start=$1;
    location /origin/ {{ alias {folder}/films/; qbflv; sendfile on; access_log {folder}/origin.log addresses; }}
    location /vod/ {{ alias {folder}/films/; qbflv; sendfile on; }}
    location /slow/ {{ alias {folder}/films/; qbflv; sendfile on; limit_rate 100k; }}
    location /blocking/ {{ alias {folder}/films/; qbflv; aio off; qbflv_redirect off; }}
    location /own/ {{ alias {folder}/films/; flv; }}
    location /plain/ {{ alias {folder}/films/; sendfile on; }}
    location /direct/ {{ alias {folder}/films/; sendfile on; aio off; }}
  }}
  server {{
    listen 127.0.0.1:{narrow} sndbuf=8k;
    location /vod/ {{ alias {folder}/films/; qbflv; }}
  }}
  {edges}
}}
rtmp {{ server {{ listen 127.0.0.1:{rtmp}; timeout {timeout}s;
  application vod {{ play {folder}/films; qbflv on; }}
  application own {{ play {folder}/films; }}
}} }}
"""


EDGE = """
  proxy_cache_path {folder}/cache{number} keys_zone=films{number}:1m;
  server {{ listen 127.0.0.1:{port}; location / {{
    proxy_pass http://127.0.0.1:{http}; proxy_http_version 1.1; proxy_cache films{number}; proxy_cache_lock on;
    proxy_cache_valid 200 302 10m;
  }} }}
"""


def free_ports(count):
    """Returns ports without a listener, outside the range that the system assigns to clients."""
    first_of_clients = int(pathlib.Path("/proc/sys/net/ipv4/ip_local_port_range").read_text().split()[0])
    found = []
    while len(found) < count:
        port = random.randrange(10_000, first_of_clients)
        with socket.socket() as probe:
            if port not in found and probe.connect_ex(("127.0.0.1", port)) != 0:
                found.append(port)
    return found


class Server:
    def __init__(self, modules, films, timeout=15):
        """timeout: time in s after which nginx disconnects a stalled client."""
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qbflv-server-"))
        (self.folder / "films").mkdir()
        for name, data in films.items():
            (self.folder / "films" / name).write_bytes(data)
        for name in ("outside.flv", "outside.mp4"):
            (self.folder / name).write_bytes(next(iter(films.values())))
        self.http, self.rtmp, self.narrow, *self.edges = free_ports(5)
        edges = "".join(EDGE.format(folder=self.folder, number=number, port=port, http=self.http)
                        for number, port in enumerate(self.edges))
        kinds = ("client_body", "proxy", "fastcgi", "uwsgi", "scgi")
        text = CONFIGURATION.format(
            modules=modules, folder=self.folder, http=self.http, rtmp=self.rtmp, narrow=self.narrow, timeout=timeout,
            edges=edges, user="user root;" if os.geteuid() == 0 else "",
            temporary=" ".join(f"{kind}_temp_path {self.folder}/{kind};" for kind in kinds))
        (self.folder / "nginx.conf").write_text(text)
        environment = self.environment = dict(os.environ)
        # Modules that are built with AddressSanitizer need its library in nginx.
        if "QBFLV_NGINX_PRELOAD" in environment:
            environment["LD_PRELOAD"] = environment["QBFLV_NGINX_PRELOAD"]
            # All nginx modules export the same names, which is no fault.
            environment["ASAN_OPTIONS"] = "detect_odr_violation=0"
            # nginx's RTMP module leaks some pools at each reload, and an OpenSSL object of its handshake at exit.
            (self.folder / "leaks").write_text("leak:ngx_alloc\nleak:ngx_memalign\nleak:libcrypto.so\n")
            environment["LSAN_OPTIONS"] = f"suppressions={self.folder}/leaks:print_suppressions=0"
        self.errors = open(self.folder / "stderr.log", "wb")
        # setpriv makes nginx end with this process, even if this process is killed.
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", NGINX, "-e", "stderr", "-c", self.folder / "nginx.conf"],
            env=environment, stderr=self.errors)
        self.wait(lambda: self.workers(), "nginx does not start")
        self.wait(self.answers, "nginx does not answer")

    def answers(self):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.http)) == 0

    def wait(self, condition, message, seconds=30):
        end = time.monotonic() + seconds
        while not condition():
            assert time.monotonic() < end and self.process.poll() is None, message + self.log()
            time.sleep(0.02)

    def descriptors(self, process):
        return len(os.listdir(f"/proc/{process}/fd"))

    def resident(self, process):
        """Returns the resident memory of a process in bytes, without mapped films."""
        resident, shared = map(int, self.read(f"/proc/{process}/statm").split()[1:3])
        return (resident - shared) * os.sysconf("SC_PAGE_SIZE")

    def workers(self):
        found = []
        for child in self.read(f"/proc/{self.process.pid}/task/{self.process.pid}/children").split():
            # nginx has other child processes, such as the cache manager.
            if "worker process" in self.read(f"/proc/{child}/cmdline"):
                found.append(int(child))
        return found

    @staticmethod
    def read(path):
        try:
            return pathlib.Path(path).read_text()
        except (FileNotFoundError, ProcessLookupError):
            return ""

    def reload(self):
        """Reloads nginx and waits for the new worker. The old one ends after its last viewer."""
        before = set(self.workers())
        self.process.send_signal(signal.SIGHUP)
        self.wait(lambda: set(self.workers()) - before, "nginx does not reload")

    def check(self, found, replacement):
        """Tests a changed configuration. Returns nginx's messages."""
        path = self.folder / "changed.conf"
        path.write_text((self.folder / "nginx.conf").read_text().replace(found, replacement))
        return subprocess.run([NGINX, "-t", "-e", "stderr", "-c", path], env=self.environment, text=True,
                              stderr=subprocess.PIPE, timeout=60).stderr

    def log(self):
        texts = [(self.folder / name).read_text(errors="replace") for name in ("stderr.log", "error.log")
                 if (self.folder / name).exists()]
        return "\n".join(texts)

    def faults(self):
        """Returns the log's lines about crashes and about reports of a sanitizer. No test may cause them."""
        pattern = r".*(?:exited on signal|Sanitizer|runtime error|\[alert\]|\[emerg\]).*"
        return re.findall(pattern, self.log())

    def film_url(self, name, location="vod"):
        return f"http://127.0.0.1:{self.http}/{location}/{name}"

    def close(self):
        # Not TERM: nginx kills workers a second after it, and the leak check may take longer.
        self.process.send_signal(signal.SIGQUIT)
        self.process.wait(60)
        self.errors.close()
        faults, log = self.faults(), self.log()
        shutil.rmtree(self.folder)
        # The end of the log contains the stack traces of the sanitizer.
        assert not faults, "\n".join([*faults, log[-20_000:]])
