"""vlan: VLANs and their members."""

import click

from switch_rest import path_of, resources
from switch_rest.desired import VLAN_MAX
from switchctl.context import Context, pass_context

VLAN = click.IntRange(1, VLAN_MAX)
PORT = click.IntRange(1)


@click.group("vlan")
def vlan_group() -> None:
    """VLANs and their members."""


@vlan_group.command("list")
@pass_context
def list_vlans(context: Context) -> None:
    """All VLANs with their ports; t marks those that send tagged frames."""
    with context.session() as switch:
        vlans = [resources.vlan(switch, number) for number in resources.vlan_ids(switch)]
    context.show(
        [
            {"id": one.id, "name": one.name, "type": one.type, "ports": ports(one.members)}
            for one in vlans
        ]
    )


def ports(members: dict[int, bool]) -> str:
    """1-8 10t: runs of ports that send alike."""
    runs: list[list[int]] = []
    for port in sorted(members):
        if runs and port == runs[-1][1] + 1 and members[port] == members[runs[-1][1]]:
            runs[-1][1] = port
        else:
            runs.append([port, port])
    names = [str(a) if a == b else f"{a}-{b}" for a, b in runs]
    return " ".join(name + "t" * members[run[0]] for name, run in zip(names, runs))


@vlan_group.command("show")
@click.argument("vlan", type=VLAN)
@pass_context
def show_vlan(context: Context, vlan: int) -> None:
    """One VLAN."""
    with context.session() as switch:
        context.show(resources.vlan(switch, vlan))


@vlan_group.command("create")
@click.argument("vlan", type=VLAN)
@click.option("--name", help="Name of the VLAN, up to 32 characters.")
@pass_context
def create_vlan(context: Context, vlan: int, name: str | None) -> None:
    """Create a VLAN, and name it."""
    with context.session() as switch:
        context.change(switch, "POST", path_of("/vlans/{vlan}", vlan=vlan))
        if name is not None:
            context.change(switch, "PUT", path_of("/vlans/{vlan}/name", vlan=vlan), value=name)


@vlan_group.command("name")
@click.argument("vlan", type=VLAN)
@click.argument("name")
@pass_context
def name_vlan(context: Context, vlan: int, name: str) -> None:
    """Rename a VLAN."""
    with context.session() as switch:
        context.change(switch, "PUT", path_of("/vlans/{vlan}/name", vlan=vlan), value=name)


@vlan_group.command("delete")
@click.argument("vlan", type=VLAN)
@pass_context
def delete_vlan(context: Context, vlan: int) -> None:
    """Delete a VLAN."""
    with context.session() as switch:
        context.change(switch, "DELETE", path_of("/vlans/{vlan}", vlan=vlan))


@vlan_group.command("join")
@click.argument("vlan", type=VLAN)
@click.argument("port", type=PORT)
@click.option("--tagged/--untagged", default=False, help="How the port sends its frames.")
@pass_context
def join_vlan(context: Context, vlan: int, port: int, tagged: bool) -> None:
    """Make a port a member of a VLAN."""
    path = path_of("/if/{port}/vlan/{vlan}", port=port, vlan=vlan)
    with context.session() as switch:
        context.change(switch, "POST", path)
        context.change(switch, "PUT", f"{path}/taggingMode", value=int(tagged))


@vlan_group.command("leave")
@click.argument("vlan", type=VLAN)
@click.argument("port", type=PORT)
@pass_context
def leave_vlan(context: Context, vlan: int, port: int) -> None:
    """Take a port out of a VLAN."""
    with context.session() as switch:
        context.change(switch, "DELETE", path_of("/if/{port}/vlan/{vlan}", port=port, vlan=vlan))
