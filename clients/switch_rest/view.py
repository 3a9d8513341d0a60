"""What a plan has to know of a switch, each thing read once and only when it is needed."""

from collections.abc import Callable, Hashable
from dataclasses import dataclass, field
from typing import Any, TypeVar

from switch_rest import resources
from switch_rest.errors import NotPossible
from switch_rest.resources import WORD, items, list_or_nothing
from switch_rest.session import Data, Switch, path_of

T = TypeVar("T")


@dataclass
class View:
    switch: Switch
    _read: dict[Hashable, Any] = field(default_factory=dict)

    def _once(self, key: Hashable, read: Callable[[], T]) -> T:
        if key not in self._read:
            self._read[key] = read()
        held: T = self._read[key]
        return held

    def _get(self, path: str) -> Data:
        return self._once(path, lambda: self.switch.get(path))

    def vlan_ids(self) -> list[int]:
        return self._once("vlans", lambda: resources.vlan_ids(self.switch))

    def vlan(self, number: int) -> resources.Vlan:
        return self._once(("vlan", number), lambda: resources.vlan(self.switch, number))

    def physical(self) -> list[int]:
        return self._once("if", lambda: resources.interface_numbers(self.switch))

    def interface(self, number: int) -> resources.Interface:
        return self._once(("if", number), lambda: resources.interface(self.switch, number))

    def membership(self, number: int, vlan: int) -> str:
        """ "tagged", "untagged" or "absent". Only physical interfaces are listed with a VLAN."""
        if number in self.physical():
            tagged = self.vlan(vlan).members.get(number)
        else:
            told = self._get(path_of("/if/{a}/vlan/{b}", a=number, b=vlan))["participation"]
            tagged = told["isTagging"] == 1 if told["participationMode"] == "Include" else None
        return "absent" if tagged is None else "tagged" if tagged else "untagged"

    def vlans_of(self, number: int) -> list[int]:
        told = self._get(path_of("/if/{number}/vlan", number=number))
        return [one["vlanId"] for one in items(told, "participations")]

    def lag(self, number: int) -> resources.Lag:
        return self._once(("lag", number), lambda: resources.lag(self.switch, number))

    def lags(self) -> list[resources.Lag]:
        numbers = [one["id"] for one in items(self._get("/lag"), "lag_interfaces")]
        return [self.lag(number) for number in numbers]

    def routing(self) -> dict[str, bool]:
        told = self._get("/routing")["infomation"]
        return {family: told[f"{family}_admin_mode"] == "enable" for family in ("ipv4", "ipv6")}

    def routed_ports(self) -> set[int]:
        def read() -> set[int]:
            try:
                told = list_or_nothing(self.switch, "/routing/if", "interfaces")
            except NotPossible:  # there is no routing interface at all
                return set()
            return {one["ifNum"] for one in told}

        return self._once("routed", read)

    def vlan_interfaces(self) -> dict[int, resources.VlanInterface]:
        """By VLAN."""
        return self._once(
            "vlan interfaces",
            lambda: {one.vlan: one for one in resources.vlan_interfaces(self.switch)},
        )

    def bgp(self) -> dict[str, int | str | bool]:
        told = self._get("/bgp")["infomation"]
        return {
            "local_as": told["local_AS_number"] % WORD,
            "router_id": told["local_router_id"],
            "hold_time": told["hold_time"] % WORD,
            "keep_alive_time": told["keep_alive_time"] % WORD,
            "local_preference": told["local_preference"] % WORD,
            "log_neighbor_changes": told["log_neighbor_changes"] == "Enable",
        }

    def neighbor(self, address: str, scope: int) -> resources.Neighbor | None:
        try:
            return resources.neighbor(self.switch, address, scope)
        except NotPossible:  # neighbors are not listed: one that is not there is refused
            return None

    def policies(self) -> list[resources.Policy]:
        return self._once("policies", lambda: resources.policies(self.switch))

    def hostname(self) -> str:
        return str(self._get("/system")["infomation"]["hostname"])

    def logging(self) -> Data:
        told: Data = self._get("/logging")["logging"]
        return told

    def log_hosts(self) -> list[str]:
        return [one["address"] for one in items(self._get("/logging/hosts"), "logging_hosts")]

    def log_host(self, address: str) -> Data:
        told: Data = self._get(path_of("/logging/hosts/{a}", a=address))["logging_host"]
        return told
