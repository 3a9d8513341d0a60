"""What can go wrong between a client and a switch, as types."""


class SwitchError(Exception):
    """Everything that this library raises of its own accord."""


class NoConnection(SwitchError):
    """The switch could not be reached, or did not answer. A change was not made."""


class OutcomeUnknown(NoConnection):
    """A change was sent and no answer came: it may have been made or not. It is never repeated."""


class CertificateRefused(NoConnection):
    """The switch's certificate is neither signed by a known authority nor pinned."""


class CertificateChanged(CertificateRefused):
    """The switch's certificate is not the one that was pinned."""


class BadAnswer(SwitchError):
    """Something answered that is not the API."""


class Refused(SwitchError):
    """The API answered with a result code other than 0."""

    def __init__(self, method: str, path: str, code: int, message: str) -> None:
        super().__init__(f"{method} {path}: {message} (code {code})")
        self.method = method
        self.path = path
        self.code = code
        self.message = message


class LoginFailed(Refused):
    """Wrong user or password."""


class SessionTableFull(Refused):
    """Five sessions are open already."""


class AlreadySet(Refused):
    """The same setting is already set (98)."""


class NotPossible(Refused):
    """The switch refused it: no such resource, an invalid value or not supported (99)."""


class SessionEnded(Refused):
    """The session has ended or never was (900), or there was no key (905)."""


class NoSuchRequest(Refused):
    """No such module (901), path or method (902)."""


_BY_CODE: dict[int, type[Refused]] = {
    98: AlreadySet,
    99: NotPossible,
    900: SessionEnded,
    905: SessionEnded,
    901: NoSuchRequest,
    902: NoSuchRequest,
}
_AT_LOGIN: dict[int, type[Refused]] = {1: LoginFailed, 2: SessionTableFull}


def refusal(method: str, path: str, code: int, message: str) -> Refused:
    """The error of the type that goes with the result code."""
    table = _AT_LOGIN if (method, path) == ("POST", "/login") else _BY_CODE
    return table.get(code, Refused)(method, path, code, message)
