#!/usr/bin/env python3
"""A local HTTPS server for the HTTP port's tests: makes a test CA (ca.pem)
and a certificate for the hosts in the folder given, prints "port N", and
serves /page, /reset (a reset mid-body), /stall (an endless body; prints
"disconnected /stall" when the client goes) and 404 for the rest.

Usage: https-server.py FOLDER HOST[,HOST...] [SITE]
With a SITE folder it serves that folder's files instead (the query left
aside, byte ranges honoured, as a browser's media player asks for them) and
prints "get PATH AGENT" for each request, so that a test sees who fetched
what."""
import http.server
import mimetypes
import os
import re
import socket
import ssl
import struct
import subprocess
import sys
import time

LINES = 30000


def make_certificates(folder, hosts):
    def run(*args):
        subprocess.run(["openssl", *args], cwd=folder, check=True, capture_output=True)

    run("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Test CA",
        "-keyout", "ca.key", "-out", "ca.pem")
    run("req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=" + hosts[0], "-keyout", "server.key",
        "-out", "server.csr")
    with open(os.path.join(folder, "san.ext"), "w") as ext:
        ext.write("subjectAltName=%s\n" % ",".join("DNS:" + host for host in hosts))
    run("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
        "-days", "2", "-extfile", "san.ext", "-out", "server.pem")


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def headers_for(self, status, length):
        self.send_response(status)
        self.send_header("Content-Type", "text/plain")
        self.send_header("Content-Length", str(length))
        self.end_headers()
        self.wfile.flush()

    def do_GET(self):
        if self.server.site:
            self.serve_site_file()
        elif self.path == "/page":
            lines = ["line %06d\n" % i for i in range(LINES)]
            self.headers_for(200, sum(len(line) for line in lines))
            for start in range(0, LINES, 500):
                self.wfile.write("".join(lines[start:start + 500]).encode())
                self.wfile.flush()
        elif self.path == "/reset":
            self.headers_for(200, 100000)
            self.wfile.write(b"x" * 1000)
            self.wfile.flush()
            # No TLS close: a linger of zero makes the close a reset.
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            self.connection.close()
            self.close_connection = True
        elif self.path == "/stall":
            self.headers_for(200, 100000000)
            try:
                while True:
                    self.wfile.write(b"y" * 16384)
                    self.wfile.flush()
                    time.sleep(0.05)
            except OSError:
                print("disconnected /stall", flush=True)
                self.close_connection = True
        else:
            body = b"no such page\n"
            self.headers_for(404, len(body))
            self.wfile.write(body)


    def serve_site_file(self):
        name = self.path.split("?", 1)[0].lstrip("/") or "index.html"
        print("get %s %s" % (self.path, self.headers.get("User-Agent", "")), flush=True)
        path = os.path.realpath(os.path.join(self.server.site, name))
        if not path.startswith(self.server.site + os.sep) or not os.path.isfile(path):
            self.headers_for(404, 0)
            return
        with open(path, "rb") as file:
            data = file.read()
        kind = mimetypes.guess_type(path)[0] or "text/html; charset=utf-8"
        wanted = re.fullmatch(r"bytes=(\d*)-(\d*)", self.headers.get("Range", ""))
        if wanted and data:
            first = int(wanted.group(1) or 0)
            last = min(int(wanted.group(2) or len(data) - 1), len(data) - 1)
            if first > last:
                self.send_response(416)
                self.send_header("Content-Range", "bytes */%d" % len(data))
                self.send_header("Content-Length", "0")
                self.end_headers()
                return
            self.send_response(206)
            self.send_header("Content-Range", "bytes %d-%d/%d" % (first, last, len(data)))
            data = data[first:last + 1]
        else:
            self.send_response(200)
        self.send_header("Content-Type", kind)
        self.send_header("Accept-Ranges", "bytes")
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    site = None

    def handle_error(self, request, client_address):
        pass


def main():
    folder, hosts = sys.argv[1], sys.argv[2].split(",")
    make_certificates(folder, hosts)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(os.path.join(folder, "server.pem"), os.path.join(folder, "server.key"))
    server = Server(("127.0.0.1", 0), Handler)
    if len(sys.argv) > 3:
        server.site = os.path.realpath(sys.argv[3])
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print("port %d" % server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
