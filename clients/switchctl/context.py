"""What the commands share: the switch that is meant, and how its answers are shown."""

import contextlib
import os
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import click

from switch_rest import (
    BadAnswer,
    KeyStore,
    NoConnection,
    Refused,
    Switch,
    SwitchError,
    Trust,
    connect,
    switch_url,
)
from switch_rest.checks import ConfigError
from switchctl.output import show

REFUSED, WRONG_USE, NO_CONNECTION = 1, 2, 3


class Failure(click.ClickException):
    """Ends the program with one line and its exit status."""

    def __init__(self, message: str, status: int) -> None:
        super().__init__(message)
        self.exit_code = status


@dataclass
class Context:
    switch: str | None
    user: str
    password_file: str | None
    output: str
    tls: str
    timeout: float

    def ask_password(self) -> str:
        if self.password_file:
            return Path(self.password_file).read_text(encoding="utf-8").rstrip("\n")
        if "SWITCHCTL_PASSWORD" in os.environ:
            return os.environ["SWITCHCTL_PASSWORD"]
        prompt = f"Password of {self.user} on {self.switch}"
        return str(click.prompt(prompt, hide_input=True, err=True))

    @contextlib.contextmanager
    def session(self, switch: str | None = None) -> Iterator[Switch]:
        """A session whose key is kept for the next command."""
        name = switch or self.switch
        if not name:
            raise click.UsageError("No switch is named: use --switch or SWITCHCTL_SWITCH.")
        try:
            switch_url(name)
        except ValueError as error:
            raise click.UsageError(str(error)) from None
        self.switch = name
        trust = Trust(
            authorities=None if self.tls in ("pin", "verify") else self.tls,
            first_use=self.tls == "pin",
            tell=lambda text: click.echo(text, err=True),
        )
        with failures(), connect(
            name, self.user, self.ask_password, keys=KeyStore(), trust=trust, timeout=self.timeout
        ) as session:
            yield session

    def show(self, value: Any) -> None:
        show(value, self.output)

    def change(self, switch: Switch, method: str, path: str, **values: str | int) -> None:
        """Makes a change and tells the switch's message."""
        message, data = switch.ask(method, path, values)
        self.tell(message, data)

    def tell(self, message: str, data: dict[str, Any]) -> None:
        if self.output != "table":
            self.show({"message": message, **({"data": data} if data else {})})
            return
        if data:
            self.show(data)
        else:
            click.echo(message)


@contextlib.contextmanager
def failures() -> Iterator[None]:
    """Errors of the library as a line and an exit status."""
    try:
        yield
    except Refused as error:
        raise Failure(str(error), REFUSED) from None
    except (NoConnection, BadAnswer) as error:
        raise Failure(str(error), NO_CONNECTION) from None
    except (SwitchError, ConfigError, OSError) as error:
        raise Failure(str(error), WRONG_USE) from None


pass_context = click.make_pass_decorator(Context)
