"""Compares the messages with Python's http.client and http.server, and their bodies with plistlib.
usage: messages_oracle.py PXHTTP [COUNT]"""

import email.message
import http.client
import http.server
import io
import plistlib
import random
import struct
import subprocess
import sys
import urllib.parse

tool = sys.argv[1]
count = int(sys.argv[2]) if len(sys.argv) > 2 else 300
seed = 4
print("seed", seed)
rng = random.Random(seed)
faults = 0


def check(what, want, got):
    global faults
    if want != got:
        faults += 1
        print(f"{what}: {want!r} became {got!r}")


def run(mode, data):
    return subprocess.run([tool, mode], input=data, stdout=subprocess.PIPE, check=True).stdout


def blocks(data):
    while data:
        length, = struct.unpack(">Q", data[:8])
        yield plistlib.loads(data[8:8 + length])
        data = data[8 + length:]


def text(most):
    return "".join(rng.choice("abcXYZ019 .-_~/?#[]@!$&'()*+,;=%\u00e9\u20ac\U0001F600\"<>\\^`{|}")
                   for _ in range(rng.randrange(most)))


def word():
    return "".join(rng.choice("abcdefgh") for _ in range(1 + rng.randrange(6)))


class Captured:
    """What http.client sends, in place of a connection."""

    def __init__(self):
        self.sent = b""

    def sendall(self, data):
        self.sent += data if isinstance(data, bytes) else bytes(data)


def sent_by_client(method, uri, pairs, body, content_type):
    connection = http.client.HTTPConnection("peer", 99)
    connection.sock = Captured()
    query = "&".join(f"{name}={urllib.parse.quote(value)}" for name, value in pairs)
    connection.request(method, "/" + uri + ("?" + query if pairs else ""), body,
                       {"Content-Type": content_type, "X-Other": "a b c"})
    return connection.sock.sent


class Handler(http.server.BaseHTTPRequestHandler):
    """Python's own parsing of a request, without a connection."""

    def __init__(self, data):
        self.rfile = io.BytesIO(data)
        self.raw_requestline = self.rfile.readline(65537)
        self.error = None
        self.parse_request()

    def send_error(self, code, message=None, explain=None):
        self.error = code


def grouped(pairs):
    found = {name: [value for other, value in pairs if other == name] for name, _ in pairs}
    return {name: values[0] if len(values) == 1 else values for name, values in found.items()}


cases = []
wire = b""
for _ in range(count):
    pairs = [(word(), text(12)) for _ in range(rng.randrange(5))]
    body = rng.randbytes(rng.choice([0, 1, 300, 70000])) if rng.random() < .5 else \
        plistlib.dumps({word(): text(30), "n": rng.randrange(-9, 9 ** 20 % 2 ** 62)})
    case = (rng.choice(["GET", "POST", "PUT"]), "/".join(word() for _ in range(1 + rng.randrange(3))),
            pairs, body, rng.choice(["text/xml", "application/json", "a/b"]))
    cases.append(case)
    wire += sent_by_client(*case)

# Python writes, we read.
read = list(blocks(run("request", wire)))
check("requests", count, len(read))
for (method, uri, pairs, body, content_type), got in zip(cases, read):
    check("method", method, got["method"])
    check("uri", uri, got["uri"])
    check("host", "peer:99", got["host"])
    check("type", content_type, got["type"])
    check("parameters", grouped(pairs), got.get("params", {}))
    check("body", body, got.get("body", b""))

# We write, Python reads.
rest = run("copy", wire)
for method, uri, pairs, body, content_type in cases:
    handler = Handler(rest)
    check("error", None, handler.error)
    check("copied method", method, handler.command)
    path, _, query = handler.path.partition("?")
    check("copied path", "/" + uri, path)
    check("copied parameters", grouped(pairs),
          grouped(urllib.parse.parse_qsl(query, keep_blank_values=True)))
    got = handler.rfile.read(int(handler.headers["Content-Length"]))
    if body:
        check("copied body", body, got)
        check("copied type", content_type, handler.headers["Content-Type"])
    else:
        check("made body", {}, plistlib.loads(got))
    rest = handler.rfile.read()
check("rest", b"", rest)

# Responses, and a body that Python wrote as a list.
wire = b""
codes = [rng.randrange(200, 600) for _ in range(50)]
for code in codes:
    body = plistlib.dumps({"code": code, "text": text(20)})
    wire += (f"HTTP/1.1 {code} {http.client.responses.get(code, 'Odd')}\r\n"
             f"Content-Length: {len(body)}\r\n\r\n").encode() + body
for code, got in zip(codes, blocks(run("response", wire))):
    check("code", code, got["code"])
    check("list", code, plistlib.loads(got["body"])["code"])

print(f"{count} requests, {faults} faults")
sys.exit(1 if faults else 0)
