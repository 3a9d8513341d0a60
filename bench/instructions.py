"""Instructions a request, by layer, as callgrind counts them on the release build.

What a library of the system does (malloc, json-c) counts for the layer that calls it; the kernel's
work does not count at all.
"""

import json
import os
import re
import socket
import subprocess
import sys
import tempfile
import time
from collections import Counter

BUILD = os.path.abspath(sys.argv[1])
MODE = sys.argv[2] if len(sys.argv) > 2 else ""
BUDGET = "bench/instructions.budget"
PORT = 18095
TOLERANCE = 1.05

LAYERS = ("socket", "parse", "session", "route", "switch", "tree", "render", "write", "rest")
# The first row whose pattern is found in "FILE FUNCTION" names the layer.
LAYER_OF = [
    (re.compile(pattern), layer)
    for pattern, layer in (
        (r"/switchsim/", "switch"),
        (r"/httpd/ns_", "socket"),
        (r"/httpd/mg_(parse|escape)", "parse"),
        (r"/httpd/mg_response|/engine/rest_common", "write"),
        (r"/httpd/", "socket"),
        (r"/session/", "session"),
        (r"rest_tree_obj\S* .*(print_tree|_xml|json|append_tag|append_int)", "render"),
        (r"/engine/rest_tree_obj", "tree"),
        (r"/engine/rest_dyn_string", "render"),
        (r"/(engine|modules|help)/", "route"),
    )
]
# These call the library that calls main.
ABOVE_MAIN = ("_start", "(below main)")
OWN_OBJECTS = ("restful_api_engine", "libopenclt.so", "libproc_libs.so")

FORM = "value=" + "a" * 65530

# Title, requests counted, profile, method, path, body.
ROWS = (
    ("GET /base, XML", 200, {}, "GET", "/base", ""),
    ("GET /base, JSON", 200, {}, "GET", "/base?format=json", ""),
    ("GET /vlans, 512", 4, {"vlans": 512}, "GET", "/vlans", ""),
    ("GET /vlans, 4094", 2, {"vlans": 4094}, "GET", "/vlans", ""),
    ("GET /if, 54", 20, {}, "GET", "/if", ""),
    ("GET /if, 4000", 2, {"ports": 4000}, "GET", "/if", ""),
    ("form of 64 KiB", 10, {}, "PUT", "/vlans/1/name", FORM),
)


def layer_of(file, function):
    place = f"{file} {function}"
    return next((layer for pattern, layer in LAYER_OF if pattern.search(place)), None)


def is_own(binary):
    return binary.endswith(OWN_OBJECTS)


def read_profile(name):
    """Instructions by layer of one dump of callgrind."""
    cost, names = Counter(), {}
    where = {"ob": "", "fl": "", "fi": "", "fn": "", "cob": "", "cfn": ""}
    is_call = False
    entry = re.compile(r"(ob|fl|fi|fe|fn|cob|cfi|cfl|cfn)=(?:\((\d+)\))?(?: ?(.*))?$")
    with open(name, encoding="utf-8", errors="replace") as dump:
        for line in dump:
            match = entry.match(line.rstrip("\n"))
            if match:
                kind, number, text = match.groups()
                space = {"fi": "fl", "fe": "fl", "cfi": "fl", "cfl": "fl", "cob": "ob", "cfn": "fn"}
                key = (space.get(kind, kind), number)
                if text:
                    names[key] = text
                text = names.get(key, text or "")
                if kind in ("fl", "fi", "fe"):
                    where["fi"] = text
                if kind in ("fl", "ob", "fn", "cob", "cfn"):
                    where[kind] = text
                if kind == "ob":
                    where["cob"] = text
                continue
            if line.startswith("calls="):
                is_call = True
                continue
            numbers = line.split()
            if len(numbers) != 2 or not re.match(r"[-+*0-9]", line):
                continue
            count = int(numbers[1])
            called, is_call = is_call, False
            callee_object = where["cob"]
            if called:
                where["cob"] = where["ob"]  # a call within the object names none
            if where["fn"] in ABOVE_MAIN or not is_own(where["ob"]) or (called and is_own(callee_object)):
                continue
            if where["ob"].endswith("libopenclt.so") or where["ob"].endswith("libproc_libs.so"):
                layer = "switch"
            else:
                layer = layer_of(where["fi"], where["fn"]) or layer_of(where["fl"], where["fn"])
            cost[layer or "rest"] += count
    return cost


def wait_listening():
    for _ in range(3000):
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", PORT)) == 0:
                return
        time.sleep(0.02)
    sys.exit("bench/instructions: the engine does not listen")


def ask(connection, method, path, body):
    """One answer on a kept connection."""
    head = f"{method} {path} HTTP/1.1\r\nHost: localhost\r\n"
    if body:
        head += f"Content-Length: {len(body)}\r\nContent-Type: application/x-www-form-urlencoded\r\n"
    connection.sendall((head + "\r\n" + body).encode())
    answer = b""
    while not answer.endswith(b"\r\n0\r\n\r\n"):
        got = connection.recv(1 << 20)
        if not got:
            sys.exit(f"bench/instructions: no answer to {method} {path}")
        answer += got
    return answer


def control(option, pid):
    subprocess.run(["callgrind_control", option, str(pid)], check=True, capture_output=True)


def count_row(row):
    title, requests, profile, method, path, body = row
    with tempfile.TemporaryDirectory() as folder:
        with open(f"{folder}/profile.json", "w", encoding="utf-8") as file:
            json.dump(profile, file)
        command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out"]
        engine = subprocess.Popen(
            [*command, f"{BUILD}/bin/restful_api_engine"],
            cwd=folder,
            env={**os.environ, "SWITCHSIM_PROFILE": f"{folder}/profile.json"},
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        try:
            wait_listening()
            with socket.create_connection(("127.0.0.1", PORT)) as connection:
                login = ask(connection, "POST", "/login", "user=admin&password=admin").decode()
                key = re.search("<sessionKey>(.*)</sessionKey>", login).group(1)
                path += f"{'&' if '?' in path else '?'}sessionkey={key}"
                for _ in range(3):
                    ask(connection, method, path, body)
                control("-z", engine.pid)
                for _ in range(requests):
                    ask(connection, method, path, body)
                control("-d", engine.pid)
            cost = read_profile(f"{folder}/out.1")
        finally:
            engine.kill()
            engine.wait()
    return {layer: round(cost[layer] / requests) for layer in LAYERS}


def read_budget():
    with open(BUDGET, encoding="utf-8") as file:
        rows = (line.rsplit(maxsplit=1) for line in file if line.strip())
        return {title: int(count) for title, count in rows}


def main():
    print(f"{'instructions a request':20}{'all':>11}" + "".join(f"{layer:>10}" for layer in LAYERS))
    totals = {}
    for row in ROWS:
        cost = count_row(row)
        totals[row[0]] = sum(cost.values())
        print(f"{row[0]:20}{totals[row[0]]:11}" + "".join(f"{cost[layer]:10}" for layer in LAYERS), flush=True)
    if MODE == "--land":
        with open(BUDGET, "w", encoding="utf-8") as file:
            file.writelines(f"{title:20} {count}\n" for title, count in totals.items())
    elif MODE == "--check":
        budget = read_budget()
        above = [title for title in totals if totals[title] > budget[title] * TOLERANCE]
        for title in above:
            print(f"{title}: {totals[title]} instructions, more than 5 % above the {budget[title]} it may take")
        sys.exit(1 if above else 0)


main()
