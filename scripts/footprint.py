"""Memory of an engine that runs under emulation: footprint.py ENGINE EMULATOR...

Counts the pages of the engine's own address space, which the emulator is told to put at BASE; what
the emulator needs for itself is none of them. Private are those that no file stands behind.
"""
import http.client
import json
import os
import re
import ssl
import subprocess
import sys
import tempfile
import time

ENGINE, EMULATOR = os.path.abspath(sys.argv[1]), sys.argv[2:]
BASE = 1 << 32
SPACE = range(BASE, BASE + (1 << 32))
SIMULATED = ("libopenclt.so", "libproc_libs.so")
TLS_CONNECTIONS = 100


def ports(pid):
    """The ports the process listens on, plain HTTP first: it has the lower descriptor."""
    inodes = {}
    for fd in os.listdir(f"/proc/{pid}/fd"):
        match = re.match(r"socket:\[(\d+)\]", os.readlink(f"/proc/{pid}/fd/{fd}"))
        if match:
            inodes[match[1]] = int(fd)
    with open("/proc/net/tcp") as table:
        rows = [line.split() for line in table]
    return [int(row[1].split(":")[1], 16)
            for row in sorted((r for r in rows if r[3] == "0A" and r[9] in inodes),
                              key=lambda r: inodes[r[9]])]


def memory(pid):
    """KiB resident and KiB private of the engine and the libraries that a switch has, too."""
    resident = private = 0
    counts = False
    with open(f"/proc/{pid}/smaps") as maps:
        for line in maps:
            head = re.match(r"([0-9a-f]+)-[0-9a-f]+ ", line)
            if head:
                counts = int(head[1], 16) in SPACE and not line.rstrip().endswith(SIMULATED)
            elif counts and line.startswith("Rss:"):
                resident += int(line.split()[1])
            elif counts and line.startswith("Anonymous:"):
                private += int(line.split()[1])
    return resident, private


def request(connection, method, path, body=None):
    connection.request(method, path, body, {"Content-Type": "application/x-www-form-urlencoded"})
    return connection.getresponse().read()


def main():
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:prime256v1", "-nodes", "-subj", "/CN=localhost",
                        "-keyout", f"{folder}/ssl.pem", "-out", f"{folder}/cert.pem"],
                       check=True, stderr=subprocess.DEVNULL)
        with open(f"{folder}/ssl.pem", "a") as pem, open(f"{folder}/cert.pem") as cert:
            pem.write(cert.read())
        engine = subprocess.Popen([EMULATOR[0], "-B", hex(BASE), *EMULATOR[1:], ENGINE],
                                  cwd=folder, stdout=subprocess.DEVNULL)
        try:
            measure(engine.pid)
        finally:
            engine.kill()
            engine.wait()


def measure(pid):
    deadline = time.monotonic() + 60
    while len(ports(pid)) < 2:
        if time.monotonic() > deadline:
            sys.exit("footprint: the engine does not listen")
        time.sleep(0.01)
    plain, tls = ports(pid)

    def row(name):
        resident, private = memory(pid)
        print(f"{name:42}{resident:10}{private:10}")

    print(f"{'memory, under emulation':42}{'resident':>10}{'private':>10}  KiB")
    row("at start")
    connection = http.client.HTTPConnection("127.0.0.1", plain)
    for _ in range(5):
        answer = request(connection, "POST", "/login", "user=admin&password=admin&format=json")
    key = json.loads(answer)["result"]["rlt_data"]["sessionKey"]
    row("with five sessions")
    context = ssl._create_unverified_context()
    held = []
    for _ in range(TLS_CONNECTIONS):
        held.append(http.client.HTTPSConnection("127.0.0.1", tls, context=context))
        request(held[-1], "GET", f"/base?sessionkey={key}")
    row(f"and {TLS_CONNECTIONS} TLS connections")
    for each in held:
        each.close()
    request(connection, "GET", "/help")
    row("these closed, the reference read")


main()
