#!/usr/bin/env python3
"""A WebDAV server on the loopback that serves a folder, and can go wrong as real ones do.

Prints its port. What a file's name begins with decides what becomes of a request for its content:
  silent-   half of it comes, then nothing, until the connection is closed by the client
  broken-   half of it comes, then the connection is closed
  slow-     it comes in pieces, with a pause after each
What a file is called for people stands beside it, in NAME.displayname; such a file is not listed.
"""
import http.server
import os
import socketserver
import sys
import time
import urllib.parse
from email.utils import formatdate
from xml.sax.saxutils import escape

ROOT = os.fsencode(sys.argv[1])


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True
    wbufsize = -1

    def log_message(self, *_):
        pass

    def asked(self):
        path = urllib.parse.unquote_to_bytes(self.path.split("?")[0])
        return os.path.normpath(ROOT + b"/" + path.strip(b"/"))

    def answer(self, code, body=b"", **headers):
        self.send_response(code)
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_OPTIONS(self):
        self.answer(200, DAV="1,2", Allow="OPTIONS, GET, HEAD, PROPFIND")

    @staticmethod
    def response(path):
        relative = b"/" + path[len(ROOT):].strip(b"/")
        is_folder = os.path.isdir(path)
        status = os.stat(path)
        properties = "<D:getlastmodified>%s</D:getlastmodified>" % formatdate(
            status.st_mtime, usegmt=True)
        if is_folder:
            properties += "<D:resourcetype><D:collection/></D:resourcetype>"
        else:
            properties += "<D:resourcetype/><D:getcontentlength>%d</D:getcontentlength>" % status.st_size
        if os.path.exists(path + b".displayname"):
            with open(path + b".displayname", encoding="utf-8") as file:
                properties += "<D:displayname>%s</D:displayname>" % escape(file.read())
        return ("<D:response><D:href>%s</D:href><D:propstat><D:prop>%s</D:prop>"
                "<D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>" %
                (urllib.parse.quote(relative) + ("/" if is_folder and relative != b"/" else ""),
                 properties))

    def do_PROPFIND(self):
        self.rfile.read(int(self.headers.get("Content-Length") or 0))
        path = self.asked()
        if not os.path.exists(path):
            return self.answer(404)
        paths = [path]
        if os.path.isdir(path) and self.headers.get("Depth") == "1":
            paths += [os.path.join(path, name) for name in sorted(os.listdir(path))
                      if not name.endswith(b".displayname")]
        body = ('<?xml version="1.0" encoding="utf-8"?><D:multistatus xmlns:D="DAV:">' +
                "".join(self.response(each) for each in paths) + "</D:multistatus>")
        return self.answer(207, body.encode(), Content_Type='application/xml; charset="utf-8"')

    def do_HEAD(self):
        self.answer(200 if os.path.exists(self.asked()) else 404)

    def do_GET(self):
        path = self.asked()
        if not os.path.isfile(path):
            return self.answer(404)
        with open(path, "rb") as file:
            content = file.read()
        name = os.path.basename(path)
        half = len(content) // 2
        self.send_response(200)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        if name.startswith(b"silent-"):
            self.wfile.write(content[:half])
            self.wfile.flush()
            self.rfile.read(1)
            self.close_connection = True
        elif name.startswith(b"broken-"):
            self.wfile.write(content[:half])
            self.close_connection = True
        elif name.startswith(b"slow-"):
            for start in range(0, len(content), 1024):
                self.wfile.write(content[start:start + 1024])
                self.wfile.flush()
                time.sleep(0.02)
        else:
            self.wfile.write(content)
        return None


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        pass  # a client that goes away in the middle


server = Server(("127.0.0.1", 0), Handler)
print(server.server_port, flush=True)
server.serve_forever()
