"""transfer and script: files to and from the switch."""

import time
from typing import Any

import click
from rich.progress import Progress

from switch_rest import Switch
from switchctl.context import REFUSED, Context, Failure, pass_context

CONFIGS = {"startup": 1, "backup": 2, "factory": 3, "running": 4, "all": 5}
POLL_SECONDS = 0.5


@click.group("transfer")
def transfer_group() -> None:
    """Images, configurations and scripts to and from a server. One runs at a time."""


progress_option = click.option(
    "--progress", is_flag=True, help="Wait for the end and show how far it is."
)


def start(context: Context, path: str, progress: bool, values: dict[str, Any]) -> None:
    """Starts a transfer, and with progress waits until it has ended."""
    with context.session() as switch:
        message, data = switch.ask("POST", path, values)
        if not progress:
            context.tell(message, data)
            return
        status = path.split("/")[1]
        with Progress(transient=True) as shown:
            ended = follow(switch, f"/{status}/status", shown)
        context.tell(ended["status"], {})
        if ended["progress"] != "100%":
            raise Failure(f"{values['url']}: {ended['status']}", REFUSED)


def follow(switch: Switch, path: str, shown: Progress) -> dict[str, str]:
    """The state in which the transfer ended."""
    task = shown.add_task("transfer", total=100)
    while True:
        told: dict[str, str] = switch.get(path)["information"]
        done = told["progress"].rstrip("%")
        shown.update(task, completed=int(done) if done.isdecimal() else 0)
        if "in progress" not in told["status"].lower():
            return told
        time.sleep(POLL_SECONDS)


@transfer_group.command("image")
@click.argument("url")
@click.option("--image", type=click.Choice(("active", "backup")), default="backup")
@click.option("--restart", is_flag=True, help="Restart the switch when the file has arrived.")
@progress_option
@pass_context
def fetch_image(context: Context, url: str, image: str, restart: bool, progress: bool) -> None:
    """Fetch a firmware image."""
    values = {"url": url, "img": image, "auto": "y" if restart else "n"}
    start(context, "/download/image", progress, values)


@transfer_group.command("config")
@click.argument("url")
@click.option("--to", "name", type=click.Choice(list(CONFIGS)[:3]), default="startup")
@click.option("--restart", is_flag=True, help="Restart the switch when the file has arrived.")
@progress_option
@pass_context
def fetch_config(context: Context, url: str, name: str, restart: bool, progress: bool) -> None:
    """Fetch a configuration."""
    values: dict[str, Any] = {"url": url, "cfg": CONFIGS[name], "auto": "y" if restart else "n"}
    if name == "startup":
        now = time.strftime("%Y-%m-%d/%H:%M")
        values |= {"cfgtime": now, "updatetime": now}
    start(context, "/download/config", progress, values)


@transfer_group.command("save-config")
@click.argument("url")
@click.option("--from", "name", type=click.Choice(list(CONFIGS)), default="running")
@click.option("--serial", type=click.IntRange(0, 4294967295), default=0)
@progress_option
@pass_context
def send_config(context: Context, url: str, name: str, serial: int, progress: bool) -> None:
    """Send a configuration."""
    values = {"url": url, "cfg": CONFIGS[name], "sn": serial}
    start(context, "/upload/config", progress, values)


@transfer_group.command("script")
@click.argument("url")
@click.argument("name")
@progress_option
@pass_context
def fetch_script(context: Context, url: str, name: str, progress: bool) -> None:
    """Fetch a CLI script and store it under NAME; "script apply" applies it."""
    start(context, "/download/script", progress, {"url": url, "scr": name, "act": "n"})


@transfer_group.command("save-script")
@click.argument("url")
@click.argument("name")
@progress_option
@pass_context
def send_script(context: Context, url: str, name: str, progress: bool) -> None:
    """Send the CLI script NAME."""
    start(context, "/upload/script", progress, {"url": url, "scr": name})


@transfer_group.command("status")
@pass_context
def transfer_status(context: Context) -> None:
    """How far the transfers are."""
    with context.session() as switch:
        context.show(
            {
                "download": switch.get("/download/status")["information"],
                "upload": switch.get("/upload/status")["information"],
            }
        )


@click.group("script")
def script_group() -> None:
    """CLI scripts on the switch."""


@script_group.command("list")
@pass_context
def list_scripts(context: Context) -> None:
    """All scripts."""
    with context.session() as switch:
        told = switch.get("/script/list")["script_files"]
    context.show([one for one in told.values() if isinstance(one, dict)])


@script_group.command("apply")
@click.argument("name")
@pass_context
def apply_script(context: Context, name: str) -> None:
    """Check a script and run its commands."""
    with context.session() as switch:
        context.change(switch, "POST", "/script/apply", scr=name)


@script_group.command("delete")
@click.argument("name")
@pass_context
def delete_script(context: Context, name: str) -> None:
    """Delete a script."""
    with context.session() as switch:
        context.change(switch, "DELETE", "/script", scr=name)
