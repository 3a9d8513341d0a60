"""What the exporter may ask, and as whom."""

import re
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import yaml

from switch_rest import switch_url
from switch_rest.checks import ConfigError, host_address, members, record, text


@dataclass(frozen=True)
class Config:
    user: str
    password_file: Path
    targets: dict[str, tuple[str, ...]]  # URL: addresses of the BGP neighbors
    authorities: str | None = None
    listen: str = "127.0.0.1:9816"

    def password(self) -> str:
        return self.password_file.read_text(encoding="utf-8").rstrip("\n")

    def neighbors(self, url: str) -> tuple[str, ...] | None:
        """Those to ask a switch for; None for one that is not to be asked at all: whoever can
        reach the exporter could have the password sent anywhere."""
        found = (held for name, held in self.targets.items() if matches(name, url))
        return next(found, None)


def matches(name: str, url: str) -> bool:
    """A * stands for one part of an address or for a port."""
    return re.fullmatch(re.escape(name).replace(r"\*", "[^.:/]+"), url) is not None


def _targets(value: Any, where: str) -> dict[str, tuple[str, ...]]:
    if not isinstance(value, dict) or not value:
        raise ConfigError(f"{where}: a record of URLs is expected")
    checks = {"neighbors": members(host_address, True)}
    try:
        return {
            str(name)
            if "*" in str(name)
            else switch_url(str(name)): tuple(
                record(one, f"{where}.{name}", checks).get("neighbors", ())
            )
            for name, one in value.items()
        }
    except ValueError as error:
        raise ConfigError(f"{where}: {error}") from None


def read_config(path: str) -> Config:
    any_text = text(1023)
    checks = {"user": any_text, "password_file": any_text, "targets": _targets}
    checks |= {"authorities": any_text, "listen": any_text}
    named = record(yaml.safe_load(Path(path).read_text(encoding="utf-8")), "", checks)
    for name in ("user", "password_file", "targets"):
        if name not in named:
            raise ConfigError(f"{name}: is missing")
    # Beside the configuration, unless it says where.
    named["password_file"] = Path(path).parent / named["password_file"]
    return Config(**named)
