#!/usr/bin/python3
"""Stores the archives that nginx received: archive_handler.py SOCKET FOLDER

Runs as nginx's user and answers on a Unix socket. An archive becomes FOLDER/LOG-ID/SHA-256.zip once it is whole, so
the same archive sent twice is stored once, and nothing that was stored is ever replaced. The handler keeps no state:
any number of them may share the folder.
"""
import hashlib
import http.server
import os
import re
import socketserver
import sys
import tempfile

UUID = rb"[0-9A-Fa-f]{8}(?:-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}"
HEAD = re.compile(rb"\r\n--(" + UUID + rb")\r\n"
                  rb'Content-Disposition: form-data; name="file"; filename="lumaMacLog_(' + UUID +
                  rb')_(?:abc|cef)\.zip"\r\n'
                  rb"Content-Type: application/octet-stream\r\n\r\n")


def store(body, content_type, folder):
    """Takes the archive out of a request's body and gives its Log ID; None when the body has another form."""
    head = HEAD.match(body.read(1024))
    if not head or content_type.encode() != b"multipart/form-data; boundary=" + head[1]:
        return None
    tail = b"\r\n--" + head[1] + b"--\r\n"
    left = os.fstat(body.fileno()).st_size - head.end() - len(tail)
    body.seek(max(left, 0) + head.end())
    if left < 0 or body.read() != tail:
        return None
    body.seek(head.end())
    log_id = head[2].decode().lower()
    os.makedirs(os.path.join(folder, log_id), mode=0o700, exist_ok=True)
    digest = hashlib.sha256()
    with tempfile.NamedTemporaryFile(dir=os.path.join(folder, log_id), suffix=".part") as part:
        while left > 0:
            piece = body.read(min(left, 1 << 20))
            digest.update(piece)
            part.write(piece)
            left -= len(piece)
        part.flush()
        os.fsync(part.fileno())
        try:
            os.link(part.name, os.path.join(folder, log_id, digest.hexdigest() + ".zip"))
        except FileExistsError:
            pass  # The client did not get the answer and sent the same archive again.
    return log_id


class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        try:
            with open(self.headers.get("X-Body-File", os.devnull), "rb") as body:
                log_id = store(body, self.headers.get("Content-Type", ""), self.server.folder)
        except OSError as error:
            print(f"not stored: {error}", file=sys.stderr, flush=True)
            self.answer(500, "The archive could not be stored.")
            return
        if log_id:
            self.answer(200, f"Received {log_id}.")
        else:
            self.answer(400, "This is not an archive of Lumadoc Diagnostics.")

    def answer(self, status, text):
        self.send_response(status)
        self.send_header("Content-Type", "text/plain; charset=utf-8")
        self.send_header("Content-Length", str(len(text)))
        self.end_headers()
        self.wfile.write(text.encode())

    def log_message(self, *_):
        pass  # nginx has a log.


class Server(socketserver.ThreadingMixIn, socketserver.UnixStreamServer):
    daemon_threads = True
    request_queue_size = 1024

    def __init__(self, socket, folder):
        self.folder = folder
        super().__init__(socket, Handler)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("Usage: archive_handler.py SOCKET FOLDER")
    os.umask(0o077)
    if os.path.exists(sys.argv[1]):
        os.remove(sys.argv[1])
    server = Server(*sys.argv[1:])
    print("Listening on " + sys.argv[1], flush=True)
    server.serve_forever()
