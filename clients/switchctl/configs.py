"""diff and apply: from a file to a switch."""

from pathlib import Path
from typing import Any

import click
import yaml

from switch_rest.apply import Done, apply
from switch_rest.checks import ConfigError
from switch_rest.desired import Wanted, parse
from switch_rest.plan import plan
from switch_rest.steps import Scope, Step
from switch_rest.view import View
from switchctl.context import Context, pass_context

LARGEST_FILE = 8 << 20

prune_option = click.option(
    "--prune", is_flag=True, help="What the file does not name goes, in the lists that it has."
)
targets_argument = click.argument("targets", nargs=-1, required=True, metavar="[SWITCH] FILE")


def read(file: str) -> Wanted:
    try:
        if Path(file).stat().st_size > LARGEST_FILE:
            raise click.UsageError(f"{file}: is too large")
        return parse(yaml.safe_load(Path(file).read_text(encoding="utf-8")))
    except (OSError, UnicodeDecodeError, yaml.YAMLError, ConfigError) as error:
        raise click.UsageError(f"{file}: {error}") from None


def switch_and_file(targets: tuple[str, ...]) -> tuple[str | None, str]:
    if len(targets) > 2:
        raise click.UsageError("[SWITCH] FILE is expected")
    return (targets[0] if len(targets) == 2 else None), targets[-1]


def row(step: Step) -> dict[str, Any]:
    return {"what": step.place, "from": step.before, "to": step.after}


def tell(context: Context, name: str, steps: list[Step]) -> None:
    if context.output != "table":
        context.show({name: [row(step) | {"told": not step.unseen} for step in steps]})
        return
    for step in steps:
        sign = "?" if step.unseen else {"POST": "+", "DELETE": "-"}.get(step.method, "~")
        color = {"+": "green", "-": "red", "~": "yellow"}.get(sign)
        click.secho(f"{sign} {step.place}: {step.before} -> {step.after}", fg=color)
    unseen = sum(step.unseen for step in steps)
    also = f", {unseen} of them not told by the API" if unseen else ""
    click.echo(f"{len(steps)} {name}{also}")


def check(context: Context, targets: tuple[str, ...], prune: bool) -> None:
    switch_name, file = switch_and_file(targets)
    wanted = read(file)
    with context.session(switch_name) as switch:
        steps = plan(View(switch), wanted, Scope(prune, prune))
    tell(context, "to make", steps)


@click.command("diff")
@targets_argument
@prune_option
@pass_context
def diff_command(context: Context, targets: tuple[str, ...], prune: bool) -> None:
    """Show what is to change until the switch is as the file says."""
    check(context, targets, prune)


@click.command("apply")
@targets_argument
@click.option("--check", "only_check", is_flag=True, help="Only show, as diff does.")
@prune_option
@pass_context
def apply_command(
    context: Context, targets: tuple[str, ...], only_check: bool, prune: bool
) -> None:
    """Make the switch as the file says. What is so already costs no request."""
    if only_check:
        check(context, targets, prune)
        return
    switch_name, file = switch_and_file(targets)
    wanted = read(file)
    done: list[Done] = []
    with context.session(switch_name) as switch:
        view = View(switch)
        try:
            apply(view, plan(view, wanted, Scope(prune, prune)), done.append)
        finally:  # also when one was refused: what was done before it stays
            tell(context, "changed", [one.step for one in done if one.changed])
