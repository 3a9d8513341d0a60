"""if: interfaces, their settings and counters."""

from typing import Any

import click

from switch_rest import path_of, resources
from switch_rest.apply import apply
from switch_rest.desired import FRAME_TYPES, SPEEDS, Interface, Wanted
from switch_rest.plan import plan
from switch_rest.view import View
from switchctl.context import Context, pass_context
from switchctl.vlans import PORT, VLAN
from switchctl.watch import watch


@click.group("if")
def if_group() -> None:
    """Interfaces: settings, counters and rates."""


@if_group.command("list")
@pass_context
def list_interfaces(context: Context) -> None:
    """All physical interfaces."""
    with context.session() as switch:
        ports = [resources.interface(switch, n) for n in resources.interface_numbers(switch)]
    context.show(
        [
            {
                "number": one.number,
                "name": one.name,
                "link": one.link,
                "state": one.admin_state,
                "speed": one.speed,
                "pvid": one.pvid,
                "description": one.description,
            }
            for one in ports
        ]
    )


@if_group.command("show")
@click.argument("port", type=PORT)
@pass_context
def show_interface(context: Context, port: int) -> None:
    """One interface."""
    with context.session() as switch:
        context.show(resources.interface(switch, port))


@if_group.command("set")
@click.argument("port", type=PORT)
@click.option("--description")
@click.option("--enable/--disable", "enabled", default=None, help="Switch it on or off.")
@click.option("--mtu", type=int)
@click.option("--speed", type=click.Choice(list(SPEEDS)))
@click.option("--auto-neg/--no-auto-neg", default=None)
@click.option("--accept-frame-type", type=click.Choice(list(FRAME_TYPES)))
@click.option("--pvid", type=VLAN)
@pass_context
def set_interface(context: Context, port: int, **settings: Any) -> None:
    """Set what is named; what is set already takes no request."""
    with context.session() as switch:
        view = View(switch)
        done = apply(view, plan(view, Wanted(interfaces={port: Interface(**settings)})))
    context.show([{"what": d.step.place, "from": d.step.before, "to": d.step.after} for d in done])


@if_group.command("counters")
@click.argument("port", type=PORT)
@click.option("--all", "everything", is_flag=True, help="Also those that are 0.")
@pass_context
def show_counters(context: Context, port: int, everything: bool) -> None:
    """The counters of one interface: the low 32 bits of each."""
    with context.session() as switch:
        told = resources.counters(switch, port)
    context.show({name: value for name, value in told.items() if value or everything})


@if_group.command("reset")
@click.argument("port", type=PORT)
@click.option("--counter", type=click.IntRange(0, 62), help="Number of one counter.")
@pass_context
def reset_counters(context: Context, port: int, counter: int | None) -> None:
    """Set the counters of one interface to 0."""
    with context.session() as switch:
        path = path_of("/if/{port}/counters/reset", port=port)
        context.change(switch, "PUT", path, counter=-1 if counter is None else counter)


@if_group.command("watch")
@click.argument("port", type=PORT)
@click.option("--interval", type=click.FloatRange(0.1), default=1.0, show_default=True)
@click.option("--count", type=click.IntRange(1), help="Stop after so many samples.")
@pass_context
def watch_interface(context: Context, port: int, interval: float, count: int | None) -> None:
    """Live rates as bars, until Ctrl-C."""
    with context.session() as switch:
        watch(switch, port, interval, count, context.output)
