"""Whom to believe to be the switch: certificate authorities, or a certificate pinned on first use."""

import hashlib
import json
import socket
import ssl
import sys
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any
from urllib.parse import urlsplit

import requests
from requests.adapters import HTTPAdapter

from switch_rest.errors import CertificateChanged, CertificateRefused, NoConnection
from switch_rest.private_files import locked, read_private, user_folder, write_private

SELF_SIGNED = 18  # OpenSSL's X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT


def tell_on_stderr(text: str) -> None:
    print(text, file=sys.stderr)


@dataclass(frozen=True)
class Trust:
    """How certificates are judged. A pinned one must stay the same; one of a known authority is
    verified; a self-signed one is pinned when it is first seen, unless first_use is off."""

    pins: Path = field(
        default_factory=lambda: user_folder("XDG_DATA_HOME", ".local/share") / "pins.json"
    )
    authorities: str | None = None  # a PEM file; None: those of the system
    first_use: bool = True
    tell: Callable[[str], None] = tell_on_stderr


class PinnedAdapter(HTTPAdapter):
    """Speaks only with whoever has the key of the one pinned certificate."""

    def __init__(self, fingerprint: str) -> None:
        self.fingerprint = fingerprint
        super().__init__()

    def init_poolmanager(self, *arguments: Any, **options: Any) -> None:
        super().init_poolmanager(*arguments, assert_fingerprint=self.fingerprint, **options)  # type: ignore[no-untyped-call]


def certificate(host: str, port: int, context: ssl.SSLContext, timeout: float) -> bytes:
    """The certificate in DER form that the host shows, after the context has judged it."""
    with socket.create_connection((host, port), timeout) as plain:
        with context.wrap_socket(plain, server_hostname=host) as tls:
            return tls.getpeercert(binary_form=True) or b""


def any_certificate(host: str, port: int, timeout: float) -> bytes:
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return certificate(host, port, context, timeout)


def fingerprint_of(der: bytes) -> str:
    return hashlib.sha256(der).hexdigest()


def read_pins(trust: Trust) -> dict[str, str]:
    try:
        pins = json.loads(read_private(trust.pins) or "{}")
    except ValueError:
        pins = None
    if not isinstance(pins, dict):
        raise CertificateRefused(f"{trust.pins} is damaged: it holds no pinned certificates")
    return pins


def _pin_on_first_use(trust: Trust, place: str, host: str, port: int, timeout: float) -> str:
    with locked(trust.pins):
        pins = read_pins(trust)
        if place not in pins:
            pins[place] = fingerprint_of(any_certificate(host, port, timeout))
            write_private(trust.pins, json.dumps(pins, indent=1) + "\n")
            trust.tell(
                f"{place} has a self-signed certificate, seen for the first time and pinned in "
                f"{trust.pins}: SHA-256 {pins[place]}"
            )
        return pins[place]


def mount_trust(http: requests.Session, url: str, trust: Trust, timeout: float) -> str | None:
    """Makes the session judge the certificates of the URL's host. Returns the pinned fingerprint."""
    parts = urlsplit(url)
    if parts.scheme != "https":
        return None
    host, port = parts.hostname or "", parts.port or 443
    place = f"{host}:{port}"
    pin = read_pins(trust).get(place)
    if pin is None:
        context = ssl.create_default_context(cafile=trust.authorities)
        try:
            certificate(host, port, context, timeout)
        except ssl.SSLCertVerificationError as error:
            if error.verify_code != SELF_SIGNED or not trust.first_use:
                raise CertificateRefused(f"{place}: {error.verify_message}") from error
            pin = _pin_on_first_use(trust, place, host, port, timeout)
        except OSError as error:
            raise NoConnection(f"{place}: {error}") from error
    if pin is None:
        http.verify = trust.authorities or ssl.get_default_verify_paths().cafile or True
    else:
        http.verify = False  # by an authority; the adapter compares the fingerprint instead
        http.mount(url, PinnedAdapter(pin))
    return pin


def changed(url: str, trust: Trust) -> CertificateChanged:
    return CertificateChanged(
        f"the certificate of {urlsplit(url).netloc} is not the one that was pinned. If it was "
        f"replaced on purpose, remove its line from {trust.pins}"
    )
