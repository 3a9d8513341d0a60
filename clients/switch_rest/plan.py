"""From how a switch is to how it is to be: the fewest requests, in a safe order.

Ports go down before anything else and come up last; VLANs are made before what needs them and go
after it; a member leaves one port channel before it joins another; a new policy works before the
old one goes."""

from switch_rest.desired import Wanted
from switch_rest.plan_policies import policy_steps
from switch_rest.plan_ports import interface_steps, lag_steps, vlan_steps
from switch_rest.plan_routing import bgp_steps, vlan_interface_steps
from switch_rest.plan_system import logging_steps, system_steps
from switch_rest.steps import Scope, Step
from switch_rest.view import View


def plan(view: View, wanted: Wanted, scope: Scope = Scope()) -> list[Step]:
    """The steps in the order in which they are made; none when all is as it is to be."""
    steps = [
        *system_steps(view, wanted),
        *vlan_steps(view, wanted.vlans, scope),
        *interface_steps(view, wanted.interfaces or {}, scope),
        *lag_steps(view, wanted.lags or {}, scope),
        *vlan_interface_steps(view, wanted.vlan_interfaces, scope),
        *bgp_steps(view, wanted.bgp),
        *policy_steps(view, wanted.policies, scope),
        *logging_steps(view, wanted.logging, scope),
    ]
    return sorted(steps, key=lambda step: step.phase)
