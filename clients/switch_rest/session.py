"""One session with one switch."""

import contextlib
import signal
import time
from collections.abc import Callable, Iterator, Mapping
from dataclasses import dataclass, field
from typing import Any
from urllib.parse import quote, urlsplit

import requests
from urllib3.exceptions import NewConnectionError

from switch_rest.errors import (
    BadAnswer,
    NoConnection,
    OutcomeUnknown,
    SessionEnded,
    SwitchError,
    refusal,
)
from switch_rest.keys import KeyStore
from switch_rest.private_files import locked
from switch_rest.trust import Trust, changed, mount_trust

HTTPS_PORT = 8446
HTTP_PORT = 8080
CONNECT_TIMEOUT = 5.0

Value = str | int
Data = dict[str, Any]


def switch_url(name: str) -> str:
    """The URL of a switch that is named by a host, a host and port or a URL. HTTPS is the default."""
    parts = urlsplit(name if "://" in name else f"https://{name}")
    if parts.scheme not in ("http", "https") or not parts.hostname:
        raise ValueError(f"{name} names no switch: a host, HOST:PORT or URL is expected")
    port = parts.port or (HTTPS_PORT if parts.scheme == "https" else HTTP_PORT)
    host = f"[{parts.hostname}]" if ":" in parts.hostname else parts.hostname
    return f"{parts.scheme}://{host}:{port}"


def path_of(template: str, **places: Value) -> str:
    """A path with its places filled in, e.g. path_of("/vlans/{vlan}", vlan=10)."""
    return template.format(**{name: quote(str(value), safe=":") for name, value in places.items()})


@dataclass
class Switch:
    """A session, opened when it is first needed. Made by connect(), which also ends it."""

    url: str
    user: str
    password: Callable[[], str]
    keys: KeyStore | None
    trust: Trust
    timeout: float
    timed: Callable[[str, float], None] = lambda path, seconds: None
    requests_sent: int = 0
    _key: str = ""
    _http: requests.Session = field(default_factory=requests.Session)
    _pin: str | None = None
    _mounted: bool = False

    def get(self, path: str, **values: Value) -> Data:
        return self.request("GET", path, values)

    def post(self, path: str, **values: Value) -> Data:
        return self.request("POST", path, values)

    def put(self, path: str, **values: Value) -> Data:
        return self.request("PUT", path, values)

    def delete(self, path: str, **values: Value) -> Data:
        return self.request("DELETE", path, values)

    def request(
        self,
        method: str,
        path: str,
        values: Mapping[str, Value] | None = None,
        timeout: float | None = None,
    ) -> Data:
        """The answer's data. With a cached key that has died it logs in once more: a request
        without a session did nothing."""
        return self.ask(method, path, values, timeout)[1]

    def ask(
        self,
        method: str,
        path: str,
        values: Mapping[str, Value] | None = None,
        timeout: float | None = None,
    ) -> tuple[str, Data]:
        """As request, with the answer's message before the data."""
        fresh = self._log_in_if_needed()
        try:
            return self._send(method, path, values or {}, timeout)
        except SessionEnded:
            if fresh:
                raise
        self._log_in(dead_key=self._key)
        return self._send(method, path, values or {}, timeout)

    def log_out(self) -> None:
        """Ends the session, also one whose key came from the store."""
        key = self._key or (self.keys.read(self.url, self.user) if self.keys else None)
        if not key:
            return
        self._key = key
        with contextlib.suppress(SessionEnded):
            self._send("DELETE", "/login", {})
        self._key = ""
        if self.keys:
            self.keys.forget(self.url, self.user)

    def _log_in_if_needed(self) -> bool:
        if self._key:
            return False
        return self._log_in(dead_key="")

    def _log_in(self, dead_key: str) -> bool:
        """Takes the stored key or a new one; tells whether it is new. One process at a time: the
        others find the key that the first one got."""
        if self.keys is None:
            self._key = self._new_key()
            return True
        with locked(self.keys.path(self.url, self.user)):
            stored = self.keys.read(self.url, self.user)
            if stored and stored != dead_key:
                self._key = stored
                return False
            self._key = self._new_key()
            self.keys.write(self.url, self.user, self._key)
            return True

    def _new_key(self) -> str:
        self._key = ""
        login = {"user": self.user, "password": self.password()}
        key = self._send("POST", "/login", login)[1].get("sessionKey")
        if not isinstance(key, str):
            raise BadAnswer(f"{self.url}: the login was answered without a key")
        return key

    def _send(
        self, method: str, path: str, values: Mapping[str, Value], timeout: float | None = None
    ) -> tuple[str, Data]:
        variables: dict[str, Value] = {**values, "format": "json"}
        if self._key:
            variables["sessionkey"] = self._key
        answer = self._exchange(method, path, variables, timeout or self.timeout)
        try:
            result = answer.json()["result"]
            code, message = int(result["rlt_code"]), str(result["rlt_mesg"])
            data = result.get("rlt_data", {})
        except (ValueError, KeyError, TypeError, AttributeError):
            raise BadAnswer(
                f"{self.url}{path}: no answer of the API (HTTP status {answer.status_code})"
            ) from None
        if code != 0:
            raise refusal(method, path, code, message)
        return message, data

    def _exchange(
        self, method: str, path: str, variables: Mapping[str, Value], timeout: float
    ) -> requests.Response:
        """One request and its answer. Only a question may be asked again, and only because a
        kept connection turned out to be closed. No text here holds the URL with the key in it."""
        self._mount()
        asks = method == "GET"
        for attempt in (1, 2):
            started = time.monotonic()
            try:
                self.requests_sent += 1
                return self._http.request(
                    method,
                    self.url + path,
                    params=variables if method in ("GET", "DELETE") else None,
                    data=variables if method in ("POST", "PUT") else None,
                    timeout=(CONNECT_TIMEOUT, timeout),
                    allow_redirects=False,
                )
            except requests.exceptions.SSLError:
                if self._pin:
                    raise changed(self.url, self.trust) from None
                raise NoConnection(f"{self.url}: no secure connection") from None
            except requests.exceptions.ConnectTimeout:
                raise NoConnection(f"{self.url}: no connection in {CONNECT_TIMEOUT:g} s") from None
            except requests.exceptions.ReadTimeout:
                what = f"{self.url}: no answer to {method} {path} in {timeout:g} s"
                raise (NoConnection if asks else OutcomeUnknown)(what) from None
            except requests.exceptions.RequestException as error:
                if asks and attempt == 1:
                    continue
                raise _lost(self.url, method, path, error) from None
            finally:
                self.timed(path, time.monotonic() - started)
        raise AssertionError("not reached")

    def _mount(self) -> None:
        if not self._mounted:
            self._http.trust_env = False  # a session belongs to this machine's own address
            self._pin = mount_trust(self._http, self.url, self.trust, CONNECT_TIMEOUT)
            self._mounted = True


def _lost(
    url: str, method: str, path: str, error: requests.exceptions.RequestException
) -> SwitchError:
    """What a lost connection means: nothing, where none came about or nothing was to change."""
    reason = getattr(error.args[0] if error.args else error, "reason", None)
    if method == "GET" or isinstance(reason, NewConnectionError):
        return NoConnection(f"{url}: no connection")
    return OutcomeUnknown(f"{url}: the connection was lost before {method} {path} was answered")


@contextlib.contextmanager
def connect(
    switch: str,
    user: str,
    password: str | Callable[[], str],
    *,
    keys: KeyStore | None = None,
    trust: Trust | None = None,
    timeout: float = 30.0,
    timed: Callable[[str, float], None] = lambda path, seconds: None,
) -> Iterator[Switch]:
    """A session for the time of a with block. With a key store it stays open for the next
    process; without one it is logged out in every way out of the block. Each exchange's path and
    duration are told to timed."""
    ask = (lambda: password) if isinstance(password, str) else password
    session = Switch(switch_url(switch), user, ask, keys, trust or Trust(), timeout, timed)
    try:
        yield session
    finally:
        if keys is None:
            with contextlib.suppress(SwitchError):
                session.log_out()
        session._http.close()


def leave_on_signals() -> None:
    """Lets a termination or hang-up end the program as Ctrl-C does, through all with blocks."""

    def leave(number: int, _frame: object) -> None:
        raise SystemExit(128 + number)

    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, leave)
