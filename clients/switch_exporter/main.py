"""switch-exporter: answers Prometheus for many switches."""

from contextlib import ExitStack
from http.server import ThreadingHTTPServer
from urllib.parse import parse_qs, urlsplit

import click
import yaml

from switch_exporter.config import read_config
from switch_exporter.probe import Probes, probe
from switch_rest import leave_on_signals, switch_url
from switch_rest.local_server import QuietHandler

TEXT = "text/plain; version=0.0.4; charset=utf-8"


def handler(probes: Probes) -> type[QuietHandler]:
    class Handler(QuietHandler):
        def do_GET(self) -> None:
            parts = urlsplit(self.path)
            names = parse_qs(parts.query).get("target", [])
            if parts.path != "/probe" or len(names) != 1:
                self.answer(404, TEXT, b"ask for /probe?target=SWITCH\n")
                return
            try:
                target = probes.target(switch_url(names[0]))
            except ValueError as error:
                self.answer(400, TEXT, f"{error}\n".encode())
                return
            if target is None:
                self.answer(403, TEXT, b"the configuration does not name this switch\n")
            else:
                self.answer(200, TEXT, probe(target))

    return Handler


@click.command(context_settings={"help_option_names": ["-h", "--help"]})
@click.argument("config", type=click.Path(exists=True, dir_okay=False))
def cli(config: str) -> None:
    """Answer /probe?target=SWITCH with the metrics of a switch that CONFIG names."""
    leave_on_signals()
    try:
        held = read_config(config)
        address, _, port = held.listen.rpartition(":")
        where = (address.strip("[]"), int(port))
    except (OSError, ValueError, yaml.YAMLError) as error:
        raise click.UsageError(f"{config}: {error}") from None
    with ExitStack() as sessions, ThreadingHTTPServer(
        where, handler(Probes(held, sessions))
    ) as server:
        click.echo(f"listening on {server.server_address[0]!s}:{server.server_port}")
        server.serve_forever()
