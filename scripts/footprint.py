"""How much room an engine for the board takes: footprint.py ENGINE STRIP EMULATOR...

Sizes come from the program and from the linker's map beside it. Memory is that of the engine's own
address space, which the emulator is told to put at BASE; what the emulator needs for itself is none
of it. Private are pages that no file stands behind.
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

ENGINE, STRIP, EMULATOR = os.path.abspath(sys.argv[1]), sys.argv[2], sys.argv[3:]
BASE = 1 << 32
SPACE = range(BASE, BASE + (1 << 32))
SIMULATED = ("libopenclt.so", "libproc_libs.so")
TLS_CONNECTIONS = 100
KIB = 1024


def row(name, *values):
    print(f"{name:42}" + "".join(f"{value:>10}" for value in values))


def section_sizes(lines):
    """Bytes of code, of constants and of data of the map's lines: (section, bytes, object file)."""
    sizes = {"code": 0, "constants": 0, "data": 0}
    for section, size, _ in lines:
        if section in (".init", ".fini") or section.startswith(".text"):
            sizes["code"] += size
        elif section.startswith((".rodata", ".eh_frame", ".gcc_except_table")):
            sizes["constants"] += size
        elif section.startswith((".data", ".bss", ".sdata", ".sbss", ".tbss", ".tdata", ".got",
                                 ".init_array", ".fini_array")):
            sizes["data"] += size
    return sizes


def map_lines(path):
    section = None
    with open(path) as lines:
        for line in lines:
            if line.startswith("Linker script and memory map"):
                break
        for line in lines:
            head = re.match(r" (\.\S+|COMMON)", line)
            if head:
                section = head[1]
            body = re.match(r"\s(?:\.\S+|COMMON)?\s+0x[0-9a-f]+\s+(0x[0-9a-f]+)\s+(\S.*)$", line)
            if body and section:
                yield section, int(body[1], 16), body[2]


def print_sizes(folder):
    stripped = f"{folder}/stripped"
    subprocess.run([STRIP, "-o", stripped, ENGINE], check=True)
    lines = list(map_lines(ENGINE + ".map"))
    # The libraries it is linked with are named by their whole paths.
    own = [line for line in lines if ".ltrans" in line[2] or not line[2].startswith("/")]
    row("size, KiB", "code", "constants", "data", "all")
    for name, part in (("of the engine's own objects", own), ("with the libraries in it", lines)):
        sizes = [size // KIB for size in section_sizes(part).values()]
        row(name, *sizes, sum(sizes))
    row("the file, stripped", "", "", "", os.path.getsize(stripped) // KIB)


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


def print_memory(name, pid):
    """The engine's memory and that of the libraries which a switch has, too."""
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
    row(name, resident, private)


def request(connection, method, path, body=None):
    connection.request(method, path, body, {"Content-Type": "application/x-www-form-urlencoded"})
    return connection.getresponse().read()


def measure(pid):
    deadline = time.monotonic() + 60
    while len(ports(pid)) < 2:
        if time.monotonic() > deadline:
            sys.exit("footprint: the engine does not listen")
        time.sleep(0.01)
    plain, tls = ports(pid)
    row("memory, KiB", "resident", "private")
    print_memory("at start", pid)
    connection = http.client.HTTPConnection("127.0.0.1", plain)
    for _ in range(5):
        answer = request(connection, "POST", "/login", "user=admin&password=admin&format=json")
    key = json.loads(answer)["result"]["rlt_data"]["sessionKey"]
    print_memory("with five sessions", pid)
    context = ssl._create_unverified_context()
    held = []
    for _ in range(TLS_CONNECTIONS):
        held.append(http.client.HTTPSConnection("127.0.0.1", tls, context=context))
        request(held[-1], "GET", f"/base?sessionkey={key}")
    print_memory(f"and {TLS_CONNECTIONS} TLS connections", pid)
    for each in held:
        each.close()
    request(connection, "GET", "/help")
    print_memory("these closed, the reference read", pid)


def main():
    with tempfile.TemporaryDirectory() as folder:
        print_sizes(folder)
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


main()
