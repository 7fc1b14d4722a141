"""Drives the tool's server from other processes: Python's http.client, curl and the tool itself.
usage: serve_oracle.py PXTOOL [COMMANDS]"""

import http.client
import json
import os
import plistlib
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import urllib.parse

tool = sys.argv[1]
commands = int(sys.argv[2]) if len(sys.argv) > 2 else 10000
faults = 0


def check(what, want, got):
    global faults
    if want != got:
        faults += 1
        print(f"{what}: wanted {want!r}, got {got!r}")


root = tempfile.mkdtemp(prefix="px_serve_")
environment = dict(os.environ, XDG_DATA_HOME=root)
data = os.path.join(root, "Quarvo", "Test", "ServerData.plist")


def serve(*arguments):
    process = subprocess.Popen([tool, "serve", "--product", "Test", *arguments],
                               stdout=subprocess.PIPE, env=environment, text=True)
    return process, int(process.stdout.readline().split()[-1])


def run(command, *arguments):
    done = subprocess.run([tool, command, "--product", "Test", *arguments], env=environment,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return done.returncode, done.stdout, done.stderr.decode()


def path(name, content):
    full = os.path.join(root, name)
    with open(full, "wb") as file:
        file.write(content)
    return full


# What a listener prints of messages that are posted until it ends.
def heard(count, *arguments):
    global number
    listener = subprocess.Popen([tool, "listen", "--product", "Test", "--count", str(count),
                                 *arguments], stdout=subprocess.PIPE, env=environment)
    while listener.poll() is None:
        query = urllib.parse.urlencode({"cmd": "message", "msg_name": "tick"})
        connection.request("POST", "/server?" + query, plistlib.dumps({"n": number}),
                           {"Content-Type": "text/xml"})
        check("posted", 0, plistlib.loads(connection.getresponse().read())["result"])
        number += 1
    return listener.stdout.read()


number = 0
server = None
try:
    check("no server", 3, run("send", "echo")[0])
    server, port = serve("--status-page")
    with open(data, "rb") as file:
        check("data", {"listen_port": port, "pid": server.pid}, plistlib.load(file))
    check("mode", 0o600, stat.S_IMODE(os.stat(data).st_mode))

    # Commands of another program on one connection.
    connection = http.client.HTTPConnection("127.0.0.1", port)
    for number in range(commands):
        body = str(number).encode() * (number % 50)
        connection.request("POST", "/echo", body, {"Content-Type": "a/b"})
        answer = connection.getresponse()
        got = answer.read()
        if not body:
            got = plistlib.loads(got)
            body = {"result": 0}
        if answer.status != 200 or got != body:
            check("echo", body, got)
            break

    # Bodies from the command line.
    list_path = path("list.plist", plistlib.dumps({"a": [1, "\u00e9"]}))
    raw_path = path("raw", bytes(range(256)) * 300)
    code, out, _ = run("send", "echo", "--plist", list_path)
    check("list", {"a": [1, "\u00e9"]}, plistlib.loads(out))
    check("json", (0, b'{"b":2}'), run("send", "echo", "--json-body", '{"b":2}')[:2])
    check("file", (0, bytes(range(256)) * 300), run("send", "echo", "--file", raw_path)[:2])
    code, out, _ = run("send", "echo", "--plist", list_path, "--packed", raw_path)
    check("packed", bytes(range(256)) * 300, out[4:4 + 76800])
    check("packed list", {"a": [1, "\u00e9"]}, plistlib.loads(out[8 + 76800:]))
    preset = path("one.plist", plistlib.dumps({"name": "Evening"}))
    code, out, _ = run("send", "preset/info?path=" + preset)
    check("preset", (0, 0), (code, plistlib.loads(out)["result"]))
    check("no image", 3, run("send", "image/info?path=" + preset)[0])
    check("unknown", 3, run("send", "nothing/here")[0])
    check("two bodies", 2, run("send", "echo", "--json-body", "1", "--file", raw_path)[0])

    if shutil.which("curl"):
        base = f"http://127.0.0.1:{port}/"

        def curl(*arguments):
            command = ["curl", "-s", "--max-time", "60", *arguments]
            return subprocess.run(command, stdout=subprocess.PIPE).stdout

        check("page", 2, curl(base, base).count(b"<h1>Test</h1>"))
        check("curl", bytes(range(256)) * 300, curl("--data-binary", "@" + raw_path, base + "echo"))
        for header in ("Origin: http://127.0.0.1", "Sec-Fetch-Site: cross-site"):
            asked = curl("-H", header, "-o", "/dev/null", "-w", "%{http_code}", base + "echo")
            check(header, b"404", asked)
        check("another host", b"", curl("-H", "Host: elsewhere", base))

    # Pushed messages reach a third process in order, and none twice.
    lists = [plistlib.loads(part.strip() + b"</plist>")
             for part in heard(200).split(b"</plist>")[:-1]]
    check("messages", 200, len(lists))
    first = lists[0]["n"]
    check("order", [{"n": n, "msg_name": "tick"} for n in range(first, first + 200)], lists)
    lists = [json.loads(line) for line in heard(3, "--json").splitlines()]
    first = lists[0]["n"]
    check("lines", [{"n": n, "msg_name": "tick"} for n in range(first, first + 3)], lists)
    code, _, error = run("listen", "--api-version", "2")
    check("version", (3, True), (code, "another version" in error))

    server.send_signal(signal.SIGTERM)
    check("end", 0, server.wait())
    check("data file", False, os.path.exists(data))
    server, port = serve()
    server.kill()
    server.wait()
    check("stale file", True, os.path.exists(data))
    for where, said in ((), "no server"), (("--port", str(port)), "nobody listens"):
        code, _, error = run("send", "echo", *where)
        check(said, (3, True), (code, said in error))
finally:
    if server:
        server.kill()
    shutil.rmtree(root)

print(f"{commands} commands, {number} messages, {faults} faults")
sys.exit(1 if faults else 0)
