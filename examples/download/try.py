#!/usr/bin/env python3
"""Runs the program against a server on loopback: to the end, to an error, and to Ctrl-C."""

import http.server
import signal
import subprocess
import sys
import threading
from pathlib import Path

PROGRAM, FOLDER = sys.argv[1], Path(sys.argv[2])
BODY = bytes(range(256)) * 4096
going_on = threading.Event()


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        if self.path == "/missing":
            self.send_error(404)
            return
        self.send_response(200)
        self.send_header("Content-Length", str(len(BODY)))
        self.end_headers()
        try:
            self.wfile.write(BODY[:len(BODY) // 2])
            if self.path == "/slow":
                going_on.wait(60)
            self.wfile.write(BODY[len(BODY) // 2:])
        except ConnectionError:
            pass

    def log_message(self, *_):
        pass


def check(condition, message):
    if not condition:
        sys.exit(message)


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
threading.Thread(target=server.serve_forever, daemon=True).start()
base = f"http://127.0.0.1:{server.server_port}"
target = FOLDER / "loaded"

done = subprocess.run([PROGRAM, f"{base}/file", target], capture_output=True, text=True, timeout=60)
check(done.returncode == 0 and target.read_bytes() == BODY, f"not loaded: {done}")
check("100 %" in done.stderr and f"{len(BODY)} bytes" in done.stderr, f"no progress: {done.stderr!r}")

target.unlink()
done = subprocess.run([PROGRAM, f"{base}/missing", target], capture_output=True, text=True, timeout=60)
check(done.returncode == 1 and "404" in done.stderr, f"no error: {done}")
check(not target.exists(), "a failed transfer left a file")

running = subprocess.Popen([PROGRAM, f"{base}/slow", target], stderr=subprocess.PIPE)
seen = b""
while b" 50 %" not in seen:
    byte = running.stderr.read(1)
    check(byte, f"ended before the half: {seen}")
    seen += byte
running.send_signal(signal.SIGINT)
said = running.communicate(timeout=60)[1]
check(running.returncode == 130 and b"cancelled" in said, f"not cancelled: {running.returncode} {said}")
check(not target.exists(), "a cancelled transfer left a file")
going_on.set()
print("Loaded, failed and cancelled as it should")
