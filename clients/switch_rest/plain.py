"""Records as what JSON and YAML have."""

import dataclasses
from collections.abc import Mapping
from typing import Any


def plain(value: Any) -> Any:
    """Records, sets and tuples as what JSON has."""
    if dataclasses.is_dataclass(value):
        return {
            field.name: plain(getattr(value, field.name)) for field in dataclasses.fields(value)
        }
    if isinstance(value, Mapping):
        return {str(name): plain(one) for name, one in value.items()}
    if isinstance(value, (set, frozenset)):
        return sorted(value)
    if isinstance(value, (list, tuple)):
        return [plain(one) for one in value]
    return value
