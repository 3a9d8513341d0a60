"""web: serves the page on 127.0.0.1."""

import json
from contextlib import ExitStack
from http.server import ThreadingHTTPServer
from importlib import resources
from urllib.parse import unquote

import click

from switch_rest.local_server import QuietHandler
from switchctl.context import Context, pass_context
from switchctl.web.snapshot import Watched

TYPES = {
    "index.html": "text/html; charset=utf-8",
    "page.css": "text/css; charset=utf-8",
    "page.js": "text/javascript; charset=utf-8",
    "icon.svg": "image/svg+xml",
}
HEADERS = {
    "Content-Security-Policy": "default-src 'self'; frame-ancestors 'none'; base-uri 'none'",
    "X-Content-Type-Options": "nosniff",
    "Referrer-Policy": "no-referrer",
    "Cache-Control": "no-store",
}


def page_file(name: str) -> bytes:
    return resources.files("switchctl.web").joinpath("page", name).read_bytes()


def handler(switches: dict[str, Watched]) -> type[QuietHandler]:
    class Handler(QuietHandler):
        def do_GET(self) -> None:
            host = self.headers.get("Host", "").rpartition(":")[0]
            if host not in ("127.0.0.1", "localhost"):  # another name was made to lead here
                self.answer(403, "text/plain", b"ask 127.0.0.1\n", HEADERS)
                return
            path = unquote(self.path.partition("?")[0])
            name = path.removeprefix("/") or "index.html"
            known = switches.get(path.removeprefix("/data/")) if path.startswith("/data/") else None
            if name in TYPES:
                self.answer(200, TYPES[name], page_file(name), HEADERS)
            elif path == "/switches":
                self.answer(200, "application/json", json.dumps(list(switches)).encode(), HEADERS)
            elif known:
                self.answer(200, "application/json", json.dumps(known.snapshot()).encode(), HEADERS)
            else:
                self.answer(404, "text/plain", b"there is no such page\n", HEADERS)

    return Handler


@click.command("web")
@click.argument("switches", nargs=-1)
@click.option("--port", type=click.IntRange(0, 65535), default=8642, show_default=True)
@click.option("--interval", type=click.FloatRange(0.5), default=5.0, show_default=True)
@click.option("--neighbor", "neighbors", multiple=True, help="A BGP neighbor to show.")
@pass_context
def web_command(
    context: Context,
    switches: tuple[str, ...],
    port: int,
    interval: float,
    neighbors: tuple[str, ...],
) -> None:
    """Serve a page for each of the SWITCHES on 127.0.0.1, until Ctrl-C. It only looks, and asks
    the switches only while somebody looks at it."""
    with ExitStack() as sessions:
        watched = {}
        for name in switches or (context.switch or "",):
            switch = sessions.enter_context(context.session(name or None))
            switch.get("/login")  # a wrong password or switch shows at once
            watched[name] = Watched(name, switch, neighbors, interval)
        with ThreadingHTTPServer(("127.0.0.1", port), handler(watched)) as server:
            click.echo(f"http://127.0.0.1:{server.server_port}/")
            server.serve_forever()
