"""Requests per second, latency and memory of the engine, with nginx beside it.

Both answer GET /base: the engine on the simulated switch with a session, nginx the same document
from its configuration. Files come from the file server, which is the engine's server without the
engine, and from nginx. Every figure is the best of ROUNDS runs, the two servers taking turns.
"""
import json
import os
import re
import resource
import socket
import ssl
import subprocess
import sys
import time
import urllib.request

ENGINE, FILE_SERVER, ROOT = sys.argv[1:4]
SECONDS = int(os.environ.get("BENCH_SECONDS", "3"))
ROUNDS = int(os.environ.get("BENCH_ROUNDS", "3"))
ENGINE_PORTS, NGINX_PORTS, FILE_PORTS = (18080, 18446), (18081, 18447), (18082, 18448)
FILES = (("64 KiB", "64k", 65536), ("1 MiB", "1m", 1048576))

NGINX_CONF = """
daemon off;
worker_processes 1;
pid {root}/nginx.pid;
error_log {root}/nginx.log;
events {{ worker_connections 4096; }}
http {{
  access_log off;
  keepalive_requests 1000000000;
  server {{
    listen 127.0.0.1:{plain} backlog=1024;
    listen 127.0.0.1:{tls} ssl backlog=1024;
    ssl_protocols TLSv1.2 TLSv1.3;
    ssl_certificate {root}/cert.pem;
    ssl_certificate_key {root}/key.pem;
    default_type "text/xml; charset=utf-8";
    location /files/ {{ root {root}; }}
    location / {{ return 200 '{document}'; }}
  }}
}}
"""


def fetch(url, data=None):
    context = ssl._create_unverified_context()
    with urllib.request.urlopen(url, data=data, context=context, timeout=10) as reply:
        return reply.read().decode()


def wait_listening(port):
    for _ in range(1000):
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) == 0:
                return
        time.sleep(0.01)
    sys.exit(f"bench: nothing listens on port {port}")


def start(command, port):
    process = subprocess.Popen(["taskset", "-c", "0", *command], stdout=subprocess.DEVNULL, cwd=ROOT)
    wait_listening(port)
    return process


def wrk(url, connections, close=False):
    command = ["taskset", "-c", "1", "wrk", "-t1", f"-c{connections}", f"-d{SECONDS}s", "--latency"]
    if close:
        command += ["-H", "Connection: close"]
    text = subprocess.run(command + [url], capture_output=True, text=True, check=True).stdout
    rate = float(re.search(r"Requests/sec:\s+([\d.]+)", text).group(1))
    value, unit = re.search(r"99%\s+([\d.]+)(us|ms|s)", text).groups()
    if re.search(r"Non-2xx", text):
        sys.exit(f"bench: error answers from {url}\n{text}")
    return rate, float(value) * {"us": 0.001, "ms": 1, "s": 1000}[unit]


def compare(title, path, tls, connections, close=False, our_ports=ENGINE_PORTS):
    scheme, ports = ("https", 1) if tls else ("http", 0)
    best = {}
    for _ in range(ROUNDS):
        for name, port in (("ours", our_ports[ports]), ("nginx", NGINX_PORTS[ports])):
            rate, p99 = wrk(f"{scheme}://127.0.0.1:{port}{path}", connections, close)
            if rate > best.get(name, (0, 0))[0]:
                best[name] = (rate, p99)
    (ours, our_p99), (theirs, their_p99) = best["ours"], best["nginx"]
    print(f"{title:34}{ours:12.0f}{theirs:12.0f}{ours / theirs:8.2f}{our_p99:10.2f}{their_p99:10.2f}")


def make_files():
    os.makedirs(f"{ROOT}/files", exist_ok=True)
    for _, name, size in FILES:
        with open(f"{ROOT}/files/{name}", "wb") as file:
            file.write(os.urandom(size))


def compare_files():
    header("file", "files/s")
    for tls in (False, True):
        for size, name, _ in FILES:
            title = f"{size} over {'HTTPS' if tls else 'HTTP'}, 16 connections"
            compare(title, f"/files/{name}", tls, 16, our_ports=FILE_PORTS)


def header(title, ours):
    print(f"{title:34}{ours:>12}{'nginx/s':>12}{'ratio':>8}{'p99 ms':>10}{'nginx':>10}")


def private_kib(pid):
    """Private memory outside the shared libraries: the program's own, heap, stack, anonymous."""
    total, counts = 0, False
    with open(f"/proc/{pid}/smaps") as maps:
        for line in maps:
            if re.match(r"[0-9a-f]+-[0-9a-f]+ ", line):
                counts = ".so" not in line
            elif counts and line.startswith("Private_"):
                total += int(line.split()[1])
    return total


def resident_kib(pid):
    with open(f"/proc/{pid}/status") as status:
        return int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1))


def idle_connections(pid, port, count, tls):
    context = ssl._create_unverified_context()
    before = private_kib(pid)
    sockets = []
    for _ in range(count):
        connection = socket.create_connection(("127.0.0.1", port))
        if tls:
            connection = context.wrap_socket(connection)
        connection.sendall(b"GET /help/none HTTP/1.1\r\n\r\n")
        while not connection.recv(65536).endswith(b"0\r\n\r\n"):
            pass
        sockets.append(connection)
    each = (private_kib(pid) - before) / count
    rss = resident_kib(pid)
    for connection in sockets:
        connection.close()
    return rss, each


def main():
    limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(limit, 4096), limit))
    engine = start([os.path.abspath(ENGINE)], ENGINE_PORTS[0])
    wait_listening(ENGINE_PORTS[1])
    make_files()
    addresses = f"127.0.0.1:{FILE_PORTS[0]},ssl://127.0.0.1:{FILE_PORTS[1]}:{ROOT}/ssl.pem"
    files = start([os.path.abspath(FILE_SERVER), "--listening_port", addresses,
                   "--document_root", ROOT], FILE_PORTS[0])
    nginx = None
    try:
        at_start = resident_kib(engine.pid), private_kib(engine.pid)
        fetch(f"http://127.0.0.1:{ENGINE_PORTS[0]}/help/none")  # what stays of it is no connection's
        plain_rss, plain_each = idle_connections(engine.pid, ENGINE_PORTS[0], 1000, False)
        tls_rss, tls_each = idle_connections(engine.pid, ENGINE_PORTS[1], 900, True)
        login = fetch(f"http://127.0.0.1:{ENGINE_PORTS[0]}/login",
                      b"user=admin&password=admin&format=json")
        key = json.loads(login)["result"]["rlt_data"]["sessionKey"]
        path = f"/base?sessionkey={key}"
        document = fetch(f"http://127.0.0.1:{ENGINE_PORTS[0]}{path}")
        with open(f"{ROOT}/nginx.conf", "w") as conf:
            conf.write(NGINX_CONF.format(root=ROOT, plain=NGINX_PORTS[0], tls=NGINX_PORTS[1],
                                         document=document.replace("'", "")))
        nginx = start(["nginx", "-c", f"{ROOT}/nginx.conf"], NGINX_PORTS[1])

        header("GET /base", "engine/s")
        for tls in (False, True):
            for connections in (1, 16, 256):
                name = f"{'HTTPS' if tls else 'HTTP'}, {connections} connections"
                compare(name, path, tls, connections)
        compare("new TLS connections", path, True, 16, close=True)
        print()
        compare_files()
        print(f"\n{'memory':34}{'resident KiB':>14}{'private KiB':>14}")
        print(f"{'at start':34}{at_start[0]:14}{at_start[1]:14}")
        print(f"{'1000 idle connections':34}{plain_rss:14}{plain_each:11.2f} each")
        print(f"{'900 idle TLS connections':34}{tls_rss:14}{tls_each:11.2f} each")
    finally:
        for process in (engine, files, nginx):
            if process:
                process.terminate()
                process.wait()


main()
