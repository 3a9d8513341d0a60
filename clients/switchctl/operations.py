"""api and request: whatever else the API has."""

from collections.abc import Sequence
from typing import Any

import click

from switch_rest.description import Operation, Variable, operations, perform
from switchctl.context import Context, pass_context


class Operations(click.Group):
    """One command for each operation of the description, made when it is asked for."""

    def list_commands(self, ctx: click.Context) -> list[str]:
        return [one.name for one in operations()]

    def get_command(self, ctx: click.Context, cmd_name: str) -> click.Command | None:
        return next((command(one) for one in operations() if one.name == cmd_name), None)


def _type(variable: Variable) -> click.ParamType:
    if variable.choices:
        return click.Choice([str(one) for one in variable.choices])
    return click.INT if variable.type == "integer" else click.STRING


def _parameter(variable: Variable) -> click.Parameter:
    # Given under its own name, whatever characters are in it.
    key = variable.name.replace("-", "_").lower()
    if variable.place == "path":
        return click.Argument([key], metavar=variable.name, type=_type(variable))
    return click.Option(
        [f"--{variable.name}", key],
        type=_type(variable),
        required=variable.required,
        help=variable.description,
    )


def command(operation: Operation) -> click.Command:
    names = {one.name.replace("-", "_").lower(): one.name for one in operation.variables}

    def run(**given: Any) -> None:
        context = click.get_current_context().find_object(Context)
        assert context
        values = {names[key]: value for key, value in given.items() if value is not None}
        with context.session() as switch:
            context.tell(*perform(switch, operation, values))

    places = [
        f"{one.name}: {one.description}" for one in operation.variables if one.place == "path"
    ]
    text = "\n\n".join([f"{operation.method} {operation.path}", operation.description, *places])
    parameters = [_parameter(one) for one in operation.variables]
    short = operation.summary
    return click.Command(operation.name, None, run, parameters, text, short_help=short)


api_group = Operations("api", help="Every operation of the API under its own name.")


def pairs(values: Sequence[str]) -> dict[str, str]:
    for one in values:
        if "=" not in one:
            raise click.UsageError(f"{one}: NAME=VALUE is expected")
    return dict(one.split("=", 1) for one in values)


@click.command("request")
@click.argument("method", type=click.Choice(("GET", "POST", "PUT", "DELETE"), False))
@click.argument("path")
@click.argument("values", nargs=-1, metavar="[NAME=VALUE]...")
@pass_context
def request_command(context: Context, method: str, path: str, values: tuple[str, ...]) -> None:
    """Any request, as it is: request PUT /if/3/switchportMode value=3."""
    if not path.startswith("/") or "?" in path or "#" in path:
        raise click.UsageError("PATH begins with / and has no query: give variables as NAME=VALUE")
    with context.session() as switch:
        context.tell(*switch.ask(method.upper(), path, pairs(values)))
