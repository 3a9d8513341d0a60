#!/usr/bin/env python3
"""Web server for tests: file_server.py FOLDER [PEM]. Prints its port.

GET gives the folder's files, PUT stores one under its quoted path and query. /stall and /cut break
off in the middle of 1000 bytes, the one silent, the other closed; /part gives the first of two
bytes; /to?URL redirects.
"""
import functools
import http.server
import os
import ssl
import sys
import urllib.parse


class Handler(http.server.SimpleHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self, status, length=0, *header):
        self.send_response(status)
        self.send_header("Content-Length", str(length))
        if header:
            self.send_header(*header)
        self.end_headers()

    def do_GET(self):
        if self.path in ("/stall", "/cut"):
            self.answer(200, 1000)
            self.wfile.write(b"#" * 500)
            self.wfile.flush()
            if self.path == "/stall":
                self.rfile.read(1)
            self.close_connection = True
        elif self.path == "/part":
            self.answer(206, 1, "Content-Range", "bytes 0-0/2")
            self.wfile.write(b"#")
        elif self.path.startswith("/to?"):
            self.answer(302, 0, "Location", self.path[4:])
        else:
            super().do_GET()

    def do_PUT(self):
        name = os.path.join(self.directory, urllib.parse.quote(self.path[1:], safe=""))
        with open(name, "wb") as file:
            left = int(self.headers["Content-Length"])
            while left > 0:
                left -= file.write(self.rfile.read(min(left, 65536)))
        self.answer(201)

    def log_message(self, *args):
        pass


# A client that breaks off is no news.
http.server.ThreadingHTTPServer.handle_error = lambda *args: None
server = http.server.ThreadingHTTPServer(
    ("127.0.0.1", 0), functools.partial(Handler, directory=sys.argv[1]))
if len(sys.argv) > 2:
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(sys.argv[2])
    server.socket = context.wrap_socket(server.socket, server_side=True)
print(server.server_address[1], flush=True)
server.serve_forever()
