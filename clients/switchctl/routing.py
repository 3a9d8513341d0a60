"""lag, route, bgp and policy."""

from typing import Any

import click

from switch_rest import Refused, Switch, path_of, resources
from switch_rest.apply import apply
from switch_rest.checks import ConfigError
from switch_rest.desired import VLAN_MAX, Wanted, parse
from switch_rest.plan import plan
from switch_rest.view import View
from switchctl.context import Context, pass_context
from switchctl.vlans import PORT, VLAN


def make_so(context: Context, switch: Switch, document: dict[str, Any], present: bool) -> None:
    """Makes what the document says, or removes it; tells what changed."""
    try:
        wanted: Wanted = parse(document, present)
    except ConfigError as error:
        raise click.UsageError(str(error)) from None
    view = View(switch)
    done = apply(view, plan(view, wanted))
    context.show([{"what": one.step.place, "now": one.step.after} for one in done if one.changed])


@click.group("lag")
def lag_group() -> None:
    """Port channels and their members."""


@lag_group.command("list")
@pass_context
def list_lags(context: Context) -> None:
    """All port channels."""
    with context.session() as switch:
        context.show(resources.lags(switch))


@lag_group.command("show")
@click.argument("lag", type=PORT)
@pass_context
def show_lag(context: Context, lag: int) -> None:
    """One port channel."""
    with context.session() as switch:
        context.show(resources.lag(switch, lag))


@lag_group.command("add")
@click.argument("lag", type=PORT)
@click.argument("port", type=PORT)
@pass_context
def add_member(context: Context, lag: int, port: int) -> None:
    """Add a port to a port channel."""
    with context.session() as switch:
        context.change(switch, "POST", path_of("/lag/{lag}/port/{port}", lag=lag, port=port))


@lag_group.command("remove")
@click.argument("lag", type=PORT)
@click.argument("port", type=PORT)
@pass_context
def remove_member(context: Context, lag: int, port: int) -> None:
    """Remove a port from a port channel."""
    with context.session() as switch:
        context.change(switch, "DELETE", path_of("/lag/{lag}/port/{port}", lag=lag, port=port))


@click.group("route")
def route_group() -> None:
    """Routing: modes, VLAN routing interfaces and addresses."""


@route_group.command("list")
@pass_context
def list_routing(context: Context) -> None:
    """The VLAN routing interfaces with their addresses."""
    with context.session() as switch:
        context.show(
            [
                {
                    "vlan": one.vlan,
                    "interface": one.number,
                    "name": one.name,
                    "ipv4": one.addresses.ipv4,
                    "ipv4_secondary": one.addresses.ipv4_secondary,
                    "ipv6": one.addresses.ipv6,
                }
                for one in resources.vlan_interfaces(switch)
            ]
        )


@route_group.command("mode")
@click.argument("family", type=click.Choice(("ipv4", "ipv6")), required=False)
@click.argument("mode", type=click.Choice(("enable", "disable")), required=False)
@pass_context
def routing_mode(context: Context, family: str | None, mode: str | None) -> None:
    """Show whether routing is on, or switch it."""
    with context.session() as switch:
        if family and mode:
            path = f"/routing/{family}/adminMode"
            context.change(switch, "PUT", path, value=int(mode == "enable"))
        else:
            context.show(switch.get("/routing"))


@route_group.command("add")
@click.argument("vlan", type=VLAN)
@click.argument("address", required=False)
@pass_context
def add_route(context: Context, vlan: int, address: str | None) -> None:
    """Give a VLAN a routing interface, and it an ADDRESS/LENGTH."""
    with context.session() as switch:
        make_so(context, switch, {"vlan_interfaces": {vlan: _by_family(address)}}, True)


@route_group.command("remove")
@click.argument("vlan", type=VLAN)
@pass_context
def remove_route(context: Context, vlan: int) -> None:
    """Remove the routing interface of a VLAN."""
    with context.session() as switch:
        make_so(context, switch, {"vlan_interfaces": {vlan: {}}}, False)


def _by_family(address: str | None) -> dict[str, str]:
    return {"ipv6" if ":" in address else "ipv4": address} if address else {}


@click.group("bgp")
def bgp_group() -> None:
    """BGP: settings and neighbors."""


@bgp_group.command("summary")
@click.argument("neighbors", nargs=-1)
@pass_context
def bgp_summary(context: Context, neighbors: tuple[str, ...]) -> None:
    """The settings, and the NEIGHBORS that are named: the API has no list of them. A link-local
    one is ADDRESS%INTERFACE."""
    with context.session() as switch:
        context.show({**View(switch).bgp(), "neighbors": [_neighbor(switch, n) for n in neighbors]})


def _neighbor(switch: Switch, name: str) -> resources.Neighbor | dict[str, str]:
    address, _, scope = name.partition("%")
    try:
        return resources.neighbor(switch, address, int(scope or 0))
    except Refused as refused:
        return {"address": name, "refused": refused.message}
    except ValueError:
        raise click.UsageError(f"{name}: the scope is an interface number") from None


@bgp_group.command("neighbor")
@click.argument("address")
@click.option("--asn", type=click.IntRange(1, 4294967294))
@click.option("--activate/--deactivate", default=None)
@click.option("--next-hop-self/--no-next-hop-self", default=None)
@click.option("--source-vlan", type=click.IntRange(1, VLAN_MAX), help="VLAN of the update source.")
@pass_context
def set_neighbor(context: Context, address: str, source_vlan: int | None, **settings: Any) -> None:
    """Create or change a neighbor."""
    named = {name: value for name, value in settings.items() if value is not None}
    if source_vlan is not None:
        named["update_source"] = {"vlan": source_vlan}
    plain, _, scope = address.partition("%")
    if scope:
        named["scope"] = int(scope) if scope.isdecimal() else scope
    with context.session() as switch:
        make_so(context, switch, {"bgp": {"neighbors": {plain: named}}}, True)


@click.group("policy")
def policy_group() -> None:
    """TCAM policies."""


@policy_group.command("list")
@pass_context
def list_policies(context: Context) -> None:
    """All policies, with what they match and do."""
    with context.session() as switch:
        held = resources.policies(switch)
    context.show(
        [
            {
                "id": one.id,
                "priority": one.priority,
                "type": one.type,
                "match": {n: v for n, v in one.match.items() if _says_something(v)},
                "actions": one.actions,
            }
            for one in held
        ]
    )


def _says_something(value: object) -> bool:
    return bool(str(value).replace("0x", "").strip("0.:"))


@policy_group.command("show")
@click.argument("policy", type=PORT)
@pass_context
def show_policy(context: Context, policy: int) -> None:
    """One policy."""
    with context.session() as switch:
        context.show(resources.policy(switch, policy))


@policy_group.command("delete")
@click.argument("policy", type=PORT)
@pass_context
def delete_policy(context: Context, policy: int) -> None:
    """Delete one policy."""
    with context.session() as switch:
        context.change(switch, "DELETE", path_of("/tcam/policy/{id}", id=policy))


@policy_group.command("attach")
@click.argument("policy", type=PORT)
@click.argument("port", type=PORT)
@pass_context
def attach_policy(context: Context, policy: int, port: int) -> None:
    """Apply a policy to a port."""
    with context.session() as switch:
        context.change(switch, "POST", path_of("/tcam/policy/{a}/port/{b}", a=policy, b=port))


@policy_group.command("detach")
@click.argument("policy", type=PORT)
@click.argument("port", type=PORT)
@pass_context
def detach_policy(context: Context, policy: int, port: int) -> None:
    """Take a policy from a port."""
    with context.session() as switch:
        context.change(switch, "DELETE", path_of("/tcam/policy/{a}/port/{b}", a=policy, b=port))
