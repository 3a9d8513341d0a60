"""The library against a running engine."""

import json
import signal
import socket
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from contextlib import ExitStack, suppress
from pathlib import Path

import pytest
from engines import ROOT, Engine, running

import switch_rest as sr
from switch_rest import resources


def open_sessions(engine: Engine) -> int:
    """Without the one that asks."""
    with sr.connect(engine.url, "admin", "admin") as switch:
        return len(switch.get("/login/RESTSessions")["rest_sessions"]) - 1


@pytest.mark.parametrize(
    "leave", [None, ValueError, KeyboardInterrupt, SystemExit, sr.Refused], ids=str
)
def test_a_session_ends_in_every_way_out(engine: Engine, leave: type[BaseException] | None) -> None:
    try:
        with sr.connect(engine.url, "admin", "admin") as switch:
            switch.get("/base")
            if leave is sr.Refused:
                switch.get("/vlans/99")
            elif leave:
                raise leave
    except BaseException as error:
        assert leave and isinstance(error, leave)
    assert open_sessions(engine) == 0


def test_a_terminated_program_logs_out(engine: Engine) -> None:
    program = f"""
import sys, time; sys.path.insert(0, {str(ROOT / "clients")!r})
import switch_rest
switch_rest.leave_on_signals()
with switch_rest.connect({engine.url!r}, "admin", "admin") as switch:
    switch.get("/base"); print("in", flush=True); time.sleep(60)
"""
    with subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE) as child:
        assert child.stdout and child.stdout.readline() == b"in\n"
        assert open_sessions(engine) == 1
        child.send_signal(signal.SIGTERM)
        assert child.wait(20) == 128 + signal.SIGTERM
    assert open_sessions(engine) == 0


def test_stored_keys_take_one_session(engine: Engine) -> None:
    keys = sr.KeyStore()

    def ask(_: int) -> str:
        with sr.connect(engine.url, "admin", "admin", keys=keys) as switch:
            return str(switch.get("/vlans/1")["vlan"]["name"])

    with ThreadPoolExecutor(12) as pool:
        assert set(pool.map(ask, range(100))) == {"default"}
    assert engine.calls("AuthenticateUser") == 1
    file = keys.path(engine.url, "admin")
    assert file.stat().st_mode & 0o777 == 0o600
    assert file.parent.stat().st_mode & 0o077 == 0
    # A key that others could read is not trusted, and one that has died is replaced once.
    file.chmod(0o640)
    ask(0)
    assert engine.calls("AuthenticateUser") == 2
    keys.write(engine.url, "admin", "0" * 32)
    with sr.connect(engine.url, "admin", "admin", keys=keys) as switch:
        switch.post("/vlans/7")
        assert switch.requests_sent == 3  # refused, login, done
        switch.log_out()
    assert not file.exists() and engine.calls("AuthenticateUser") == 3


def test_refusals_are_typed(engine: Engine) -> None:
    with sr.connect(engine.url, "admin", "admin") as switch:
        for method, path, values, error, code in (
            ("GET", "/vlans/99", {}, sr.Refused, 1),
            ("POST", "/lag/1/port/47", {}, sr.AlreadySet, 98),
            ("GET", "/lag/99", {}, sr.NotPossible, 99),
            ("GET", "/nothing", {}, sr.NoSuchRequest, 901),
            ("PUT", "/if/3/softShutdownState", {"value": 1}, sr.NoSuchRequest, 902),
            ("PUT", "/vlans/1/name", {"value": "x" * 33}, sr.Refused, 2),
        ):
            with pytest.raises(error) as caught:
                switch.request(method, path, values)
            told = (caught.value.method, caught.value.path, caught.value.code)
            assert told == (method, path, code) and caught.value.message
        name = "a&b=c+d %41 é"
        switch.put("/vlans/1/name", value=name)
        assert resources.vlan(switch, 1).name == name
    for password, error in (("wrong", sr.LoginFailed), ("admin", sr.SessionTableFull)):
        with pytest.raises(error):
            fill_table(engine, password)


def fill_table(engine: Engine, last_password: str) -> None:
    with ExitStack() as sessions:
        for password in ["admin"] * 5 + [last_password]:
            switch = sessions.enter_context(sr.connect(engine.url, "admin", password))
            switch.get("/base")


def test_certificates(engine: Engine) -> None:
    told: list[str] = []
    trust = sr.Trust(tell=told.append)

    def ask(trust: sr.Trust, url: str = engine.tls_url) -> None:
        with sr.connect(url, "admin", "admin", trust=trust) as switch:
            switch.get("/base")

    with pytest.raises(sr.CertificateRefused, match="self.signed"):
        ask(sr.Trust(first_use=False))
    pem = str(engine.folder / "ssl.pem")
    ask(sr.Trust(first_use=False, authorities=pem))
    with running(1) as [other]:  # of another authority: neither it nor self-signed by our word
        with pytest.raises(sr.CertificateRefused):
            ask(sr.Trust(first_use=False, authorities=pem), other.tls_url)
    assert not trust.pins.exists()
    ask(trust)
    ask(trust)
    assert len(told) == 1 and "SHA-256" in told[0]
    assert trust.pins.stat().st_mode & 0o777 == 0o600
    logins = engine.calls("AuthenticateUser")
    trust.pins.write_text(
        json.dumps({place: "ab" * 32 for place in json.loads(trust.pins.read_text())})
    )
    with pytest.raises(sr.CertificateChanged):
        ask(trust)
    assert engine.calls("AuthenticateUser") == logins  # the password was not sent
    trust.pins.write_text("{")
    with pytest.raises(sr.CertificateRefused, match="damaged"):
        ask(trust)


def test_a_change_is_sent_once(tmp_path: Path) -> None:
    slow = {"delay_ms": 1500}
    faults = {"rpcclt_openapiVlanCreate": slow, "rpcclt_openapiSSHAdminModeGet": slow}
    with running(1, {"faults": faults}) as [engine]:
        with sr.connect(engine.url, "admin", "admin", timeout=0.5) as switch:
            switch.get("/base")
            with pytest.raises(sr.OutcomeUnknown, match="POST /vlans/10"):
                switch.post("/vlans/10")
            time.sleep(1.5)
            with pytest.raises(sr.NoConnection) as question:
                switch.get("/ssh")
            assert not isinstance(question.value, sr.OutcomeUnknown)
            assert "sessionkey" not in str(question.value)
            time.sleep(1.5)
            assert resources.vlan(switch, 10).name == "VLAN0010"
        assert engine.calls("rpcclt_openapiVlanCreate") == 1


def test_what_is_no_switch() -> None:
    def answer(text: bytes, listener: socket.socket) -> None:
        with suppress(OSError):  # when the test closes it
            while True:
                with listener.accept()[0] as peer:
                    peer.recv(4096)
                    peer.sendall(text)

    with pytest.raises(sr.NoConnection), sr.connect("http://127.0.0.1:1", "a", "b") as switch:
        switch.get("/base")
    for text, error in (
        (b"HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\n\r\nno", sr.BadAnswer),
        (b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n[]", sr.BadAnswer),
        (b"", sr.OutcomeUnknown),
    ):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            server = threading.Thread(target=answer, args=(text, listener), daemon=True)
            server.start()
            url = f"http://127.0.0.1:{listener.getsockname()[1]}"
            with pytest.raises(error), sr.connect(url, "admin", "admin") as switch:
                switch.get("/base")
    for name, url in (
        ("sw1", "https://sw1:8446"),
        ("10.0.0.1:9", "https://10.0.0.1:9"),
        ("http://[2001:db8::1]", "http://[2001:db8::1]:8080"),
    ):
        assert sr.switch_url(name) == url
    with pytest.raises(ValueError):
        sr.switch_url("ftp://x")
