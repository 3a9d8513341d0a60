"""What the host name, the routing modes and logging need."""

from collections.abc import Iterator

from switch_rest import desired
from switch_rest.desired import Wanted
from switch_rest.session import path_of
from switch_rest.steps import Phase, Scope, Step, add, on_or_off, put, remove
from switch_rest.view import View


def system_steps(view: View, wanted: Wanted) -> Iterator[Step]:
    if wanted.hostname is not None and view.hostname() != wanted.hostname:
        change = (view.hostname(), wanted.hostname)
        yield put(Phase.OTHER, "hostname", change, "/system/hostname", wanted.hostname)
    for family, on in (wanted.routing or {}).items():
        if view.routing()[family] != on:
            change = (on_or_off(not on), on_or_off(on))
            path = f"/routing/{family}/adminMode"
            yield put(Phase.ROUTING, f"routing {family}", change, path, int(on))


def logging_steps(view: View, wanted: desired.Logging | None, scope: Scope) -> Iterator[Step]:
    if wanted is None:
        return
    for name, on in (("cli", wanted.cli), ("console", wanted.console), ("syslog", wanted.syslog)):
        if on is not None:
            held = view.logging()[name]["logging_mode"] == "enable"
            if held != on:
                change, path = (on_or_off(held), on_or_off(on)), f"/logging/{name}/mode"
                yield put(Phase.OTHER, f"logging {name}", change, path, int(on))
    if wanted.console_severity is not None:
        held_level = view.logging()["console"]["severity_level"]
        path = "/logging/console/severityLevel"
        yield from _severity("logging console", held_level, wanted.console_severity, path)
    if wanted.syslog_port is not None:
        held_port = view.logging()["syslog"]["port"]
        if held_port != wanted.syslog_port:
            change_port, path = (held_port, wanted.syslog_port), "/logging/syslog/port"
            yield put(Phase.OTHER, "logging syslog port", change_port, path, wanted.syslog_port)
    if wanted.hosts is not None:
        yield from _log_hosts(view, wanted.hosts, scope)


def _severity(place: str, held: str, wanted: str, path: str) -> Iterator[Step]:
    value, told = desired.SEVERITIES[wanted]
    if held != told:
        yield put(Phase.OTHER, f"{place} severity", (held, wanted), path, value)


def _log_hosts(
    view: View, wanted: dict[str, desired.LogHost | None], scope: Scope
) -> Iterator[Step]:
    going = {address for address, host in wanted.items() if host is None}
    if scope.prune:
        going |= set(view.log_hosts()) - set(wanted)
    for address in sorted(going.intersection(view.log_hosts())):
        path = path_of("/logging/hosts/{a}", a=address)
        yield remove(Phase.OTHER, f"logging host {address}", path)
    for address, host in wanted.items():
        if host is None:
            continue
        place, path = f"logging host {address}", path_of("/logging/hosts/{a}", a=address)
        is_new = address not in view.log_hosts()
        if is_new:
            yield add(Phase.OTHER, place, path)
        held_port = None if is_new else view.log_host(address)["port"]
        if host.port is not None and held_port != host.port:
            change = ("not told" if is_new else held_port, host.port)
            yield put(Phase.OTHER, f"{place} port", change, f"{path}/port", host.port)
        if host.severity is not None:
            level = "not told" if is_new else view.log_host(address)["severity_level"]
            yield from _severity(place, level, host.severity, f"{path}/severityLevel")
