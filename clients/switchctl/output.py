"""Answers as a table, as JSON or as YAML."""

import json
import sys
from typing import Any

import yaml
from rich.console import Console
from rich.table import Table

from switch_rest.plain import plain

FORMATS = ("table", "json", "yaml")


def show(value: Any, form: str) -> None:
    value = plain(value)
    if form == "json":
        print(json.dumps(value, indent=2, ensure_ascii=False))
    elif form == "yaml":
        print(yaml.safe_dump(value, sort_keys=False, allow_unicode=True), end="")
    else:
        # A pipe gets whole lines, whatever the width of the terminal.
        console = Console(width=None if sys.stdout.isatty() else 10000, highlight=False)
        print_value(console, value)


LONGEST_CELL = 60


def print_value(console: Console, value: Any, title: str = "") -> None:
    """One table, and below it one for each member that is too long for a line of it."""
    value = only_member(value)
    held = value if isinstance(value, dict) and not is_list_of_records(value) else {}
    apart = [name for name, one in held.items() if len(cell(one)) > LONGEST_CELL and nested(one)]
    if title:
        console.print(f"\n{title}", markup=False, style="bold")
    if len(apart) < len(held) or not held:
        rest = {name: one for name, one in held.items() if name not in apart}
        console.print(table(rest or value), markup=False)
    for name in apart:
        print_value(console, held[name], f"{title} {name}".strip())


def nested(value: Any) -> bool:
    return isinstance(value, dict) or is_list_of_records(value)


def only_member(value: Any) -> Any:
    """The API wraps its answers in records of one member."""
    while isinstance(value, dict) and len(value) == 1 and not is_list_of_records(value):
        only = next(iter(value.values()))
        if not isinstance(only, (dict, list)):
            break
        value = only
    return value


def is_list_of_records(value: Any) -> bool:
    """A list of records, or what the API makes of one: records with positions as their names."""
    held = value.values() if isinstance(value, dict) else value
    if not isinstance(value, (dict, list)) or not held:
        return False
    numbered = isinstance(value, list) or all(name.isdecimal() for name in value)
    return numbered and all(isinstance(one, dict) for one in held)


def table(value: Any) -> Table | str:
    """Records below each other, or the members of one record."""
    if value in ({}, [], None):
        return "nothing"
    if is_list_of_records(value):
        return _rows(list(value.values()) if isinstance(value, dict) else value)
    if isinstance(value, dict):
        one = Table(box=None, show_header=False, pad_edge=False)
        for name, held in value.items():
            one.add_row(name, cell(held))
        return one
    if isinstance(value, list):
        return "\n".join(map(cell, value))
    return cell(value)


def _rows(records: list[dict[str, Any]]) -> Table:
    names = list(dict.fromkeys(name for one in records for name in one))
    rows = Table(box=None, pad_edge=False, header_style="bold")
    for name in names:
        numbers = all(isinstance(one.get(name), int) for one in records)
        rows.add_column(name, justify="right" if numbers else "left")
    for one in records:
        rows.add_row(*(cell(one.get(name, "")) for name in names))
    return rows


def cell(value: Any) -> str:
    if isinstance(value, bool):
        return "yes" if value else "no"
    if is_list_of_records(value) and isinstance(value, dict):
        return "; ".join(map(cell, value.values()))
    if isinstance(value, dict):
        return ", ".join(f"{name} {cell(one)}" for name, one in value.items())
    if isinstance(value, list):
        return ", ".join(map(cell, value))
    return "" if value is None else str(value)
