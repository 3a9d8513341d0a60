"""What the addresses of a routing interface need."""

from collections.abc import Callable, Iterator
from ipaddress import ip_interface

from switch_rest import desired, resources
from switch_rest.checks import ABSENT
from switch_rest.steps import Phase, Scope, Step, add, remove


def address_steps(
    place: str,
    path: str,
    held: resources.HeldAddresses,
    wanted: desired.Addresses,
    scope: Scope,
) -> Iterator[Step]:
    if wanted.ipv4 == ABSENT and held.ipv4:
        yield _address(remove, Phase.PRIMARY_REMOVE, place, path, 0, held.ipv4)
    elif wanted.ipv4 not in (None, ABSENT, held.ipv4):
        assert wanted.ipv4
        yield _address(add, Phase.PRIMARY, place, path, 0, wanted.ipv4)
    for kind, named, there in (
        (1, wanted.ipv4_secondary, held.ipv4_secondary),
        (3, wanted.ipv6, held.ipv6),
    ):
        if named is None:
            continue
        for address in there:
            # Link-local addresses come by themselves.
            extra = scope.replace and not ip_interface(address).is_link_local
            if not named.get(address, not extra):
                yield _address(remove, Phase.ADDRESS_REMOVE, place, path, kind, address)
        for address, stays in named.items():
            if stays and address not in there:
                yield _address(add, Phase.ADDRESS, place, path, kind, address)


def _address(
    make: Callable[..., Step], phase: Phase, place: str, path: str, kind: int, address: str
) -> Step:
    plain, length = address.split("/")
    values = {"addrType": kind, "addr": plain, "pfxLen": int(length), "extArg": 0}
    return make(phase, f"{place} address {address}", path, **values)
