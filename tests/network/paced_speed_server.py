#!/usr/bin/env python3
"""A speed-test server for the loopback whose transfers run at a set rate.

Serves GET /__down?bytes=N (N bytes), POST /__up (reads the body) and GET /__down?bytes=0.
Every transfer, in both directions and over all connections together, draws from one token
bucket filled at --rate bits per second, so the whole server moves data at that rate. Prints
"PORT <n>" on its first line once it listens, then serves until killed.
"""
import argparse
import http.server
import sys
import threading
import time
import urllib.parse

CHUNK = 16 * 1024


class Bucket:
    def __init__(self, bytes_per_second):
        self.rate = bytes_per_second
        # A tenth of a second of credit: enough to make up for a short stall of this
        # process, too little to distort a measurement window of a second or more.
        self.capacity = max(CHUNK, bytes_per_second / 10)
        self.tokens = 0.0
        self.last = time.monotonic()
        self.lock = threading.Lock()

    def take(self, count):
        while True:
            with self.lock:
                now = time.monotonic()
                self.tokens = min(self.capacity, self.tokens + (now - self.last) * self.rate)
                self.last = now
                if self.tokens >= count:
                    self.tokens -= count
                    return
                wait = (count - self.tokens) / self.rate
            time.sleep(wait)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    bucket = None

    def log_message(self, *args):
        pass

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        if url.path != "/__down":
            self.send_error(404)
            return
        try:
            size = int(urllib.parse.parse_qs(url.query).get("bytes", ["0"])[0])
        except ValueError:
            self.send_error(400)
            return
        self.send_response(200)
        self.send_header("Content-Type", "application/octet-stream")
        self.send_header("Content-Length", str(size))
        self.end_headers()
        block = b"\x5a" * CHUNK
        left = size
        try:
            while left > 0:
                piece = min(CHUNK, left)
                self.bucket.take(piece)
                self.wfile.write(block[:piece])
                left -= piece
        except (BrokenPipeError, ConnectionResetError):
            self.close_connection = True

    def do_POST(self):
        if urllib.parse.urlsplit(self.path).path != "/__up":
            self.send_error(404)
            return
        left = int(self.headers.get("Content-Length", "0"))
        try:
            while left > 0:
                piece = min(CHUNK, left)
                self.bucket.take(piece)
                data = self.rfile.read(piece)
                if not data:
                    return
                left -= len(data)
            self.send_response(200)
            self.send_header("Content-Length", "0")
            self.end_headers()
        except (BrokenPipeError, ConnectionResetError):
            self.close_connection = True


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--rate", type=float, required=True, help="bits per second")
    parser.add_argument("--port", type=int, default=0)
    options = parser.parse_args()
    Handler.bucket = Bucket(options.rate / 8)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", options.port), Handler)
    server.daemon_threads = True
    print(f"PORT {server.server_address[1]}", flush=True)
    server.serve_forever()


if __name__ == "__main__":
    sys.exit(main())
