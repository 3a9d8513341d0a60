"""The API's description, read from the OpenAPI document that is kept beside this file."""

import functools
import json
from collections.abc import Mapping
from dataclasses import dataclass
from importlib import resources
from typing import Any

from switch_rest.session import Data, Switch, Value, path_of

OF_THE_ENGINE = ("sessionkey", "format")  # this library fills these in


@dataclass(frozen=True)
class Variable:
    name: str
    place: str  # "path", "query" or "form"
    required: bool
    description: str
    type: str
    choices: tuple[Value, ...]
    example: Value


@dataclass(frozen=True)
class Operation:
    name: str
    tag: str
    method: str
    path: str
    summary: str
    description: str
    variables: tuple[Variable, ...]
    codes: tuple[int, ...]  # result codes that it answers


def _variable(name: str, place: str, required: bool, text: str, schema: Data) -> Variable:
    choices = tuple(schema.get("enum", ()))
    example = (schema.get("examples") or choices or (1,))[0]
    return Variable(name, place, required, text, schema.get("type", "string"), choices, example)


def _variables(operation: Data, components: Data) -> tuple[Variable, ...]:
    found = []
    for given in operation.get("parameters", ()):
        one = components[given["$ref"].rsplit("/", 1)[1]] if "$ref" in given else given
        text, schema = one.get("description", ""), one["schema"]
        found.append(_variable(one["name"], one["in"], one.get("required", False), text, schema))
    body = operation.get("requestBody", {}).get("content", {})
    form = body.get("application/x-www-form-urlencoded", {}).get("schema", {})
    for name, schema in form.get("properties", {}).items():
        required = name in form.get("required", ())
        found.append(_variable(name, "form", required, schema.get("description", ""), schema))
    return tuple(one for one in found if one.name not in OF_THE_ENGINE)


@functools.cache
def operations() -> tuple[Operation, ...]:
    """All operations, in the order of the document."""
    text = resources.files("switch_rest").joinpath("openapi.json").read_text(encoding="utf-8")
    document: Data = json.loads(text)
    components = document["components"]["parameters"]
    return tuple(
        Operation(
            one["operationId"],
            one["tags"][0],
            method.upper(),
            path,
            one["summary"],
            one["description"],
            _variables(one, components),
            tuple(int(code) for code in one["x-result-codes"]),
        )
        for path, methods in document["paths"].items()
        for method, one in methods.items()
    )


def perform(switch: Switch, operation: Operation, values: Mapping[str, Any]) -> tuple[str, Data]:
    """One operation with its variables by name: the answer's message and data."""
    places = {one.name for one in operation.variables if one.place == "path"}
    path = path_of(operation.path, **{name: values[name] for name in places})
    others = {name: value for name, value in values.items() if name not in places}
    return switch.ask(operation.method, path, others)
