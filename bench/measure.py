"""Requests per second, server CPU a request, latency and memory of the engine beside other servers.

All answer the document of GET /base: the engine on the simulated switch with a session, nginx from
its configuration, the bare select loop from memory. Files come from the file server, which is the
engine's server without the engine, from nginx and from lighttpd. Every figure is the best of ROUNDS
runs in which the servers take turns.
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

BIN, ROOT, RESULTS = sys.argv[1:4]
SECONDS = int(os.environ.get("BENCH_SECONDS", "3"))
ROUNDS = int(os.environ.get("BENCH_ROUNDS", "3"))
CLOCK_TICKS = os.sysconf("SC_CLK_TCK")

# Each server's plain and TLS port.
PORTS = {
    "engine": (18080, 18446),
    "nginx": (18081, 18447),
    "file server": (18082, 18448),
    "lighttpd": (18083, None),
    "select loop": (18084, None),
}
FILES = (("64 KiB", "64k", 65536), ("1 MiB", "1m", 1048576))

NGINX_CONF = """
daemon off;
worker_processes 1;
pid {root}/nginx.pid;
error_log {root}/nginx.log;
events {{ worker_connections 4096; }}
http {{
  access_log off;
  sendfile on;
  keepalive_requests 1000000000;
  keepalive_timeout 300s;
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

LIGHTTPD_CONF = """
server.document-root = "{root}"
server.bind = "127.0.0.1"
server.port = {plain}
server.max-keep-alive-requests = 1000000000
server.max-fds = 4096
server.errorlog = "{root}/lighttpd.log"
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


def start(name, command):
    process = subprocess.Popen(
        ["taskset", "-c", "0", *command], stdout=subprocess.DEVNULL, cwd=ROOT
    )
    for port in PORTS[name]:
        if port:
            wait_listening(port)
    return process


def serving_pid(process):
    """nginx serves in a child."""
    with open(f"/proc/{process.pid}/task/{process.pid}/children") as children:
        return int((children.read().split() or [process.pid])[0])


def cpu_seconds(pid):
    """User and system time so far."""
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / CLOCK_TICKS


def wrk(url, connections, close):
    command = ["taskset", "-c", "1", "wrk", "-t1", f"-c{connections}", f"-d{SECONDS}s", "--latency"]
    if close:
        command += ["-H", "Connection: close"]
    text = subprocess.run(command + [url], capture_output=True, text=True, check=True).stdout
    rate = float(re.search(r"Requests/sec:\s+([\d.]+)", text).group(1))
    count = int(re.search(r"(\d+) requests in", text).group(1))
    value, unit = re.search(r"99%\s+([\d.]+)(us|ms|s)", text).groups()
    if "Non-2xx" in text:
        sys.exit(f"bench: error answers from {url}\n{text}")
    return rate, count, float(value) * {"us": 0.001, "ms": 1, "s": 1000}[unit]


def handshakes(port, kind, path):
    """Handshakes a second with openssl's timer; kind is -new or -reuse."""
    command = ["taskset", "-c", "1", "openssl", "s_time", "-connect", f"127.0.0.1:{port}", kind]
    command += ["-time", str(SECONDS), "-www", path]
    began = time.monotonic()
    text = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    count = int(re.search(r"(\d+) connections in \d+ real seconds", text).group(1))
    return count / (time.monotonic() - began), count, 0.0


def compare(results, group, title, servers, run):
    """run(server's name) gives rate, requests and latency; the best rate of each is kept."""
    best = {}
    for _ in range(ROUNDS):
        for name in servers:
            pid = serving_pid(servers[name])
            before = cpu_seconds(pid)
            rate, count, p99 = run(name)
            cpu = (cpu_seconds(pid) - before) / count * 1e6
            if rate > best.get(name, {"rate": 0})["rate"]:
                best[name] = {"rate": rate, "cpu_us": cpu, "p99_ms": p99}
    results.append({"group": group, "title": title, "servers": best})
    ours = next(iter(best.values()))
    for name, row in best.items():
        print(
            f"{title:38}{name:>12}{row['rate']:11.0f}{row['cpu_us']:9.2f}{row['p99_ms']:9.2f}"
            f"{ours['rate'] / row['rate']:9.2f}{ours['cpu_us'] / max(row['cpu_us'], 0.01):9.2f}"
        )
        title = ""


def heading(title):
    print(f"\n{title:38}{'server':>12}{'rate/s':>11}{'CPU us':>9}{'p99 ms':>9}{'rate x':>9}{'CPU x':>9}")


def url_of(name, tls, path):
    return f"{'https' if tls else 'http'}://127.0.0.1:{PORTS[name][tls]}{path}"


def open_idle(port, count, context=None):
    """Connections that have had one answer each and then stay."""
    sockets = []
    for _ in range(count):
        connection = socket.create_connection(("127.0.0.1", port))
        if context:
            connection = context.wrap_socket(connection)
        connection.sendall(b"GET /files/none HTTP/1.1\r\nHost: x\r\n\r\n")
        connection.recv(65536)
        sockets.append(connection)
    return sockets


def beside_idle(name, path, count):
    sockets = open_idle(PORTS[name][0], count)
    try:
        return wrk(url_of(name, False, path), 16, False)
    finally:
        for connection in sockets:
            connection.close()


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


def memory(results, servers):
    print(f"\n{'memory of an idle connection':38}{'server':>12}{'KiB each':>11}{'resident':>11}")
    for title, tls, count in (("plain, 950", False, 950), ("TLS, 900", True, 900)):
        best = {}
        for name, process in servers.items():
            pid = serving_pid(process)
            context = ssl._create_unverified_context() if tls else None
            for connection in open_idle(PORTS[name][tls], 20, context):
                connection.close()
            before = private_kib(pid)
            sockets = open_idle(PORTS[name][tls], count, context)
            best[name] = {"kib": (private_kib(pid) - before) / count, "resident": resident_kib(pid)}
            for connection in sockets:
                connection.close()
            print(f"{title:38}{name:>12}{best[name]['kib']:11.2f}{best[name]['resident']:11}")
        results.append({"group": "memory", "title": title, "servers": best})


def write_configurations(document):
    os.makedirs(f"{ROOT}/files", exist_ok=True)
    for _, name, size in FILES:
        with open(f"{ROOT}/files/{name}", "wb") as file:
            file.write(os.urandom(size))
    plain, tls = PORTS["nginx"]
    with open(f"{ROOT}/nginx.conf", "w") as conf:
        conf.write(NGINX_CONF.format(root=ROOT, plain=plain, tls=tls, document=document.replace("'", "")))
    with open(f"{ROOT}/lighttpd.conf", "w") as conf:
        conf.write(LIGHTTPD_CONF.format(root=ROOT, plain=PORTS["lighttpd"][0]))
    with open(f"{ROOT}/answer", "w", newline="") as answer:
        answer.write(
            "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\n"
            f"Transfer-Encoding: chunked\r\n\r\n{len(document):X}\r\n{document}\r\n0\r\n\r\n"
        )


def measure(servers, path):
    results = []
    answering = {name: servers[name] for name in ("engine", "nginx", "select loop")}
    with_tls = {name: servers[name] for name in ("engine", "nginx")}
    serving = {name: servers[name] for name in ("file server", "nginx", "lighttpd")}
    serving_tls = {name: servers[name] for name in ("file server", "nginx")}

    memory(results, with_tls)  # first: later the heap holds what other rows have left
    heading("GET /base")
    for tls in (False, True):
        for connections in (1, 16, 256):
            title = f"{'HTTPS' if tls else 'HTTP'}, {connections} connections"
            compare(results, "answers", title, with_tls if tls else answering,
                    lambda name: wrk(url_of(name, tls, path), connections, False))
    compare(results, "answers", "16 busy beside 984 idle", answering,
            lambda name: beside_idle(name, path, 984))
    compare(results, "answers", "a connection per request", with_tls,
            lambda name: wrk(url_of(name, False, path), 16, True))
    for title, kind in (("full TLS handshakes", "-new"), ("resumed TLS handshakes", "-reuse")):
        compare(results, "handshakes", title, with_tls,
                lambda name: handshakes(PORTS[name][1], kind, path))

    heading("files, 16 connections")
    for tls in (False, True):
        for size, name, _ in FILES:
            compare(results, "files", f"{size} over {'HTTPS' if tls else 'HTTP'}",
                    serving_tls if tls else serving,
                    lambda server: wrk(url_of(server, tls, f"/files/{name}"), 16, False))
    return results


def main():
    limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(limit, 4096), limit))
    servers = {}
    try:
        servers["engine"] = start("engine", [f"{BIN}/restful_api_engine"])
        login = fetch(url_of("engine", False, "/login"), b"user=admin&password=admin&format=json")
        path = f"/base?sessionkey={json.loads(login)['result']['rlt_data']['sessionKey']}"
        write_configurations(fetch(url_of("engine", False, path)))
        plain, tls = PORTS["file server"]
        addresses = f"127.0.0.1:{plain},ssl://127.0.0.1:{tls}:{ROOT}/ssl.pem"
        servers["file server"] = start("file server", [
            f"{BIN}/mg_file_server", "--listening_port", addresses, "--document_root", ROOT])
        servers["nginx"] = start("nginx", ["nginx", "-c", f"{ROOT}/nginx.conf"])
        servers["lighttpd"] = start("lighttpd", ["lighttpd", "-D", "-f", f"{ROOT}/lighttpd.conf"])
        servers["select loop"] = start("select loop", [
            f"{BIN}/select_loop", str(PORTS["select loop"][0]), f"{ROOT}/answer"])
        with open(RESULTS, "w") as file:
            json.dump({"seconds": SECONDS, "rounds": ROUNDS, "rows": measure(servers, path)}, file, indent=1)
    finally:
        for process in servers.values():
            process.terminate()
            process.wait()


main()
