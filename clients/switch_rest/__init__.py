"""The REST API of a network switch, for Python programs.

    with connect("10.0.0.1", "admin", "secret") as switch:
        switch.post("/vlans/10")
        switch.put("/vlans/10/name", value="lab")
"""

from switch_rest.errors import (
    AlreadySet,
    BadAnswer,
    CertificateChanged,
    CertificateRefused,
    LoginFailed,
    NoConnection,
    NoSuchRequest,
    NotPossible,
    OutcomeUnknown,
    Refused,
    SessionEnded,
    SessionTableFull,
    SwitchError,
)
from switch_rest.keys import KeyStore
from switch_rest.session import Switch, connect, leave_on_signals, path_of, switch_url
from switch_rest.trust import Trust

__all__ = [
    "AlreadySet",
    "BadAnswer",
    "CertificateChanged",
    "CertificateRefused",
    "KeyStore",
    "LoginFailed",
    "NoConnection",
    "NoSuchRequest",
    "NotPossible",
    "OutcomeUnknown",
    "Refused",
    "SessionEnded",
    "SessionTableFull",
    "Switch",
    "SwitchError",
    "Trust",
    "connect",
    "leave_on_signals",
    "path_of",
    "switch_url",
]
