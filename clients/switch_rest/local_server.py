"""What the small HTTP servers of the clients share."""

from collections.abc import Mapping
from http.server import BaseHTTPRequestHandler


class QuietHandler(BaseHTTPRequestHandler):
    """Answers with whole texts, writes no log, and waits for a client for half a minute."""

    timeout = 30

    def answer(
        self, status: int, kind: str, text: bytes, headers: Mapping[str, str] | None = None
    ) -> None:
        self.send_response(status)
        for name, value in (headers or {}).items():
            self.send_header(name, value)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(text)))
        self.end_headers()
        self.wfile.write(text)

    def log_message(self, *arguments: object) -> None:
        pass
