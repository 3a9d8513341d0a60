"""switchctl: the program."""

import click

from switch_rest import leave_on_signals
from switchctl.configs import apply_command, diff_command
from switchctl.context import Context, pass_context
from switchctl.files import script_group, transfer_group
from switchctl.interfaces import if_group
from switchctl.operations import api_group, request_command
from switchctl.output import FORMATS
from switchctl.routing import bgp_group, lag_group, policy_group, route_group
from switchctl.vlans import vlan_group
from switchctl.web.command import web_command


@click.group(context_settings={"help_option_names": ["-h", "--help"]})
@click.option("-s", "--switch", help="Host, HOST:PORT or URL of the switch. HTTPS is the default.")
@click.option("-u", "--user", default="admin", show_default=True)
@click.option(
    "--password-file",
    type=click.Path(exists=True, dir_okay=False),
    help="File with the password; SWITCHCTL_PASSWORD holds it otherwise, or it is asked for.",
)
@click.option("-o", "--output", type=click.Choice(FORMATS), default="table")
@click.option(
    "--tls",
    default="pin",
    show_default=True,
    metavar="pin|verify|FILE",
    help="pin: a self-signed certificate is pinned when it is first seen; verify: only those of "
    "known authorities; FILE: authorities of your own.",
)
@click.option("--timeout", type=click.FloatRange(0.1), default=30.0, show_default=True)
@click.pass_context
def cli(ctx: click.Context, **options: str) -> None:
    """Read and change network switches through their REST API.

    Options can be set in the environment: SWITCHCTL_SWITCH, SWITCHCTL_USER, SWITCHCTL_PASSWORD,
    SWITCHCTL_OUTPUT and so on. Exit status: 0 done, 1 refused by the switch, 2 wrong use, 3 no
    connection.
    """
    ctx.obj = Context(**options)  # type: ignore[arg-type]


@cli.command("login")
@pass_context
def log_in(context: Context) -> None:
    """Log in; further commands need no password while the session lives."""
    with context.session() as switch:
        context.show(switch.get("/login"))


@cli.command("logout")
@pass_context
def log_out(context: Context) -> None:
    """End the session."""
    with context.session() as switch:
        switch.log_out()


@cli.command("sessions")
@pass_context
def list_sessions(context: Context) -> None:
    """The open sessions; five can be open at once."""
    with context.session() as switch:
        context.show(switch.get("/login/RESTSessions"))


for command in (vlan_group, if_group, lag_group, route_group, bgp_group, policy_group):
    cli.add_command(command)
for command in (transfer_group, script_group, api_group):
    cli.add_command(command)
for single in (request_command, diff_command, apply_command, web_command):
    cli.add_command(single)


def main() -> None:
    leave_on_signals()
    cli(auto_envvar_prefix="SWITCHCTL", prog_name="switchctl")
