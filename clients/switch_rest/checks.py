"""Checks of values that somebody wrote: each returns the value or tells the place that is wrong."""

from collections.abc import Callable, Mapping
from ipaddress import ip_address, ip_interface, ip_network
from typing import Any, TypeVar

T = TypeVar("T")
Check = Callable[[Any, str], T]

ABSENT = "absent"


class ConfigError(ValueError):
    """Something in the file is not right; the text names the place."""


def integer(low: int, high: int) -> Check[int]:
    def check(value: Any, where: str) -> int:
        if isinstance(value, str) and value.isdecimal():  # what a template made is text
            value = int(value)
        if isinstance(value, bool) or not isinstance(value, int) or not low <= value <= high:
            raise ConfigError(f"{where}: a number from {low} to {high} is expected")
        return value

    return check


def text(longest: int) -> Check[str]:
    def check(value: Any, where: str) -> str:
        if not isinstance(value, (str, int, float)) or not 1 <= len(str(value)) <= longest:
            raise ConfigError(f"{where}: a text of 1 to {longest} characters is expected")
        return str(value)

    return check


def yes_or_no(value: Any, where: str) -> bool:
    held = {"true": True, "false": False}.get(str(value).lower())
    if held is None:
        raise ConfigError(f"{where}: true or false is expected")
    return held


def one_of(*choices: str) -> Check[str]:
    def check(value: Any, where: str) -> str:
        if str(value) not in choices:
            raise ConfigError(f"{where}: one of {', '.join(choices)} is expected")
        return str(value)

    return check


def interface_address(version: int) -> Check[str]:
    def check(value: Any, where: str) -> str:
        try:
            address = ip_interface(str(value))
        except ValueError:
            address = None
        if address is None or address.version != version or "/" not in str(value):
            raise ConfigError(f"{where}: an IPv{version} address with its prefix is expected")
        return str(address)

    return check


def host_address(value: Any, where: str) -> str:
    try:
        return str(ip_address(str(value)))
    except ValueError:
        raise ConfigError(f"{where}: an IPv4 or IPv6 address is expected") from None


def network(value: Any, where: str) -> str:
    try:
        return str(ip_network(str(value)))
    except ValueError:
        raise ConfigError(f"{where}: a network such as 10.20.0.0/16 is expected") from None


def mac(value: Any, where: str) -> str:
    parts = str(value).split(":")
    if len(parts) != 6 or any(
        not 1 <= len(p) <= 2 or p.strip("0123456789abcdefABCDEF") for p in parts
    ):
        raise ConfigError(f"{where}: a MAC address such as 00:11:22:33:44:55 is expected")
    return ":".join(part.zfill(2).lower() for part in parts)


# ---- checks of records and lists ----


def record(value: Any, where: str, checks: Mapping[str, Check[Any]]) -> dict[str, Any]:
    if value is None:
        return {}
    if not isinstance(value, dict):
        raise ConfigError(f"{where or 'the file'}: a record is expected")
    for name in value:
        if name not in checks:
            raise ConfigError(
                f"{where or 'the file'}: there is no {name}; known are {', '.join(checks)}"
            )
    return {
        name: check(value[name], f"{where}.{name}".lstrip("."))
        for name, check in checks.items()
        if value.get(name) is not None
    }


def mapping(key: Check[Any], entry: Check[T]) -> Check[dict[Any, T]]:
    def check(value: Any, where: str) -> dict[Any, T]:
        if not isinstance(value, dict):
            raise ConfigError(f"{where}: a record is expected")
        # A key that came through JSON is a text even when it is a number.
        keys = [int(k) if isinstance(k, str) and k.isdecimal() else k for k in value]
        return {
            key(name, f"{where}.{name}"): entry(one, f"{where}.{name}")
            for name, one in zip(keys, value.values())
        }

    return check


def members(entry: Check[Any], present: bool) -> Check[dict[Any, bool]]:
    """A list, or a single value."""

    def check(value: Any, where: str) -> dict[Any, bool]:
        listed = value if isinstance(value, list) else [value]
        return {entry(one, f"{where}[{i}]"): present for i, one in enumerate(listed)}

    return check


def or_absent(check: Check[T]) -> Check[T | None]:
    return lambda value, where: None if value == ABSENT else check(value, where)


def ipv4_form(value: Any, where: str) -> str:
    address = host_address(value, where)
    if ":" in address:
        raise ConfigError(f"{where}: the form of an IPv4 address is expected")
    return address


def list_of(check: Check[T]) -> Check[list[T]]:
    def check_list(value: Any, where: str) -> list[T]:
        if not isinstance(value, list):
            raise ConfigError(f"{where}: a list is expected")
        return [check(one, f"{where}[{i}]") for i, one in enumerate(value)]

    return check_list
