"""orncal sync against a real CalDAV server (Radicale) on 127.0.0.1 with its
own storage and a password file: two data folders (two machines) push,
pull, edit and delete and end up holding the same; a conflict keeps both;
a server that goes away mid-sync loses nothing."""
import base64
import http.server
import itertools
import re
import socket
import subprocess
import sys
import threading
import time
import urllib.request
from pathlib import Path

import pytest

from orncal_env import Orncal

USER, PASSWORD = "alice", "s3cret-p4ss"
_collections = itertools.count()


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Radicale:
    def __init__(self, root):
        self.root = Path(root)
        self.storage = self.root / "storage"
        self.port = free_port()
        (self.root / "users").write_text(f"{USER}:{PASSWORD}\n")
        (self.root / "config").write_text(f"""
[server]
hosts = 127.0.0.1:{self.port}
[auth]
type = htpasswd
htpasswd_filename = {self.root / "users"}
htpasswd_encryption = plain
[rights]
type = owner_only
[storage]
filesystem_folder = {self.storage}
[web]
type = none
[logging]
level = warning
""")
        self.process = None
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            [sys.executable, "-m", "radicale", "--config", str(self.root / "config")],
            stdout=subprocess.DEVNULL, stderr=open(self.root / "log", "ab"))
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            try:
                socket.create_connection(("127.0.0.1", self.port), timeout=0.2).close()
                return
            except OSError:
                assert self.process.poll() is None, (self.root / "log").read_text()
                time.sleep(0.05)
        raise AssertionError("Radicale did not start")

    def kill(self):
        self.process.kill()
        self.process.wait()

    def folder(self, url):
        """Where the server keeps the objects of a collection."""
        return self.storage / "collection-root" / USER / url.rstrip("/").rsplit("/", 1)[1]

    def objects(self, url):
        return list(self.folder(url).glob("*.ics"))


@pytest.fixture(scope="module")
def server(tmp_path_factory):
    r = Radicale(tmp_path_factory.mktemp("radicale"))
    yield r
    r.kill()


class Machine(Orncal):
    """A data folder that syncs with one collection."""

    def __init__(self, home, url, password_file):
        super().__init__(home)
        self.url, self.password_file = url, password_file

    def sync(self, check=True):
        return self.run("sync", "--url", self.url, "--user", USER,
                        "--password-file", str(self.password_file), "--create", check=check)

    def snapshot(self):
        """Everything the machine holds as the export writes it, without the
        moment of writing: {UID: lines}."""
        text = self.run("export", "--ics", "-", "--from", "2024-01-01", "--to", "2026-01-01").stdout
        objects = {}
        text = text.replace("\r\n", "\n").replace("\n ", "")
        for block in re.findall(r"^BEGIN:V(?:EVENT|TODO)$.*?^END:V(?:EVENT|TODO)$", text, re.S | re.M):
            lines = tuple(line for line in block.split("\n") if not line.startswith("DTSTAMP"))
            objects[props(lines)["UID"]] = lines
        return objects


def props(lines):
    """The first value of each property of one object's lines."""
    found = {}
    for line in lines:
        name, _, value = line.partition(":")
        found.setdefault(name.split(";")[0], value)
    return found


def titles(snapshot, kind="VEVENT"):
    return sorted(props(lines)["SUMMARY"] for lines in snapshot.values() if lines[0] == "BEGIN:" + kind)


@pytest.fixture()
def machines(server, tmp_path):
    url = f"http://127.0.0.1:{server.port}/{USER}/cal{next(_collections)}/"
    secret = tmp_path / "password"
    secret.write_text(PASSWORD + "\n")
    return Machine(tmp_path / "a", url, secret), Machine(tmp_path / "b", url, secret)


def put(url, text):
    """Writes an object to the server as another program would."""
    request = urllib.request.Request(url, data=text.encode(), method="PUT", headers={
        "Content-Type": "text/calendar; charset=utf-8",
        "Authorization": "Basic " + base64.b64encode(f"{USER}:{PASSWORD}".encode()).decode()})
    urllib.request.urlopen(request, timeout=30).close()


def ref(cal, title):
    """The FILE/ID of the appointment with a title."""
    (e,) = [e for e in cal.entries("2024-01-01", "2026-01-01") if e["title"] == title]
    return f"{e['file']}/{e['id']}"


def task_id(cal, title):
    (t,) = [t for t in cal.tasks() if t["title"] == title]
    return str(t["id"])


def test_two_machines_converge(server, machines):
    a, b = machines
    a.run("add", "dentist", "--start", "2024-03-05T09:00", "--end", "2024-03-05T10:00",
          "--notes", "bring the card")
    a.run("add", "holiday", "--start", "2024-07-01", "--end", "2024-07-05", "--all-day")
    a.run("add-series", "standup", "--mode", "weekly", "--weekdays", "mon,thu",
          "--from", "2024-01-01", "--eternal", "--time", "09:00-09:15")
    a.run("task", "add", "tax return", "--due", "2024-05-31T12:00")
    assert "sent 4" in a.sync().stdout
    # Another program adds an event whose title the files cannot hold.
    put(a.url + "other.ics", "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//other//EN\r\nBEGIN:VEVENT\r\n"
        "UID:other-1\r\nDTSTAMP:20240101T000000Z\r\nDTSTART:20240410T180000Z\r\n"
        "SUMMARY:Tee \U0001F375\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
    pulled = b.sync()
    assert "received 5" in pulled.stdout and "other-1: SUMMARY" in pulled.stderr
    assert "received 1" in a.sync().stdout
    first = a.snapshot()
    assert first == b.snapshot()

    # Edits and additions on both sides, each on something else.
    a.run("edit", ref(a, "dentist"), "--title", "dentist (moved)")
    a.run("task", "done", task_id(a, "tax return"))
    b.run("edit", ref(b, "holiday"), "--notes", "by train")
    b.run("add", "concert", "--start", "2024-09-20T20:00", "--end", "2024-09-20T22:30")
    b.run("task", "add", "book tickets", "--due", "2024-09-01T12:00")
    a.sync(), b.sync(), a.sync()
    both = a.snapshot()
    assert both == b.snapshot()
    assert titles(both) == ["Tee ?", "concert", "dentist (moved)", "holiday", "standup"]
    assert titles(both, "VTODO") == ["book tickets", "tax return"]
    by_title = {props(lines)["SUMMARY"]: props(lines) for lines in both.values()}
    assert by_title["holiday"]["DESCRIPTION"] == "by train"
    assert by_title["tax return"]["STATUS"] == "COMPLETED"
    # Completed, the to-do is still the same object.
    assert by_title["tax return"]["UID"] in first

    # Deletions on both sides.
    a.run("delete", ref(a, "concert"))
    b.run("task", "remove", task_id(b, "book tickets"))
    b.run("delete", ref(b, "dentist (moved)"))
    a.sync(), b.sync(), a.sync()
    both = a.snapshot()
    assert both == b.snapshot()
    assert titles(both) == ["Tee ?", "holiday", "standup"] and titles(both, "VTODO") == ["tax return"]
    # What the files could not hold was not written back over the other program's text.
    assert "\U0001F375" in (server.folder(a.url) / "other.ics").read_text()
    assert a.sync().stdout.startswith("sent 0, received 0, deleted 0 here and 0 on the server")


def test_changed_on_both_sides_keeps_both(machines):
    a, b = machines
    a.run("add", "meeting", "--start", "2024-04-02T14:00", "--end", "2024-04-02T15:00")
    a.sync(), b.sync()
    a.run("edit", ref(a, "meeting"), "--title", "meeting in room 1")
    b.run("edit", ref(b, "meeting"), "--title", "meeting in room 2")
    a.sync()
    out = b.sync().stdout
    assert "conflict" in out and "meeting in room 1 [Konflikt]" in out
    a.sync()
    assert a.snapshot() == b.snapshot()
    assert titles(a.snapshot()) == ["meeting in room 1 [Konflikt]", "meeting in room 2"]


def test_server_gone_mid_sync_loses_nothing(server, machines):
    a, b = machines
    # Many appointments at once, so the server can be stopped part way.
    events = "".join(f"BEGIN:VEVENT\r\nUID:bulk-{i}\r\nDTSTAMP:20240101T000000Z\r\n"
                     f"SUMMARY:bulk {i:03}\r\nDTSTART:202405{1 + i % 28:02}T{8 + i // 28:02}0000\r\n"
                     "DURATION:PT30M\r\nEND:VEVENT\r\n" for i in range(150))
    a.run("import", "--ics", "-",
          stdin=f"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//t//t//EN\r\n{events}END:VCALENDAR\r\n")
    before = a.snapshot()
    assert len(before) == 150
    sync = subprocess.Popen(
        [a.exe, "--data-home", a.home, "sync", "--url", a.url, "--user", USER,
         "--password-file", str(a.password_file), "--create"],
        env=a.env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    deadline = time.monotonic() + 60
    while len(server.objects(a.url)) < 10 and sync.poll() is None and time.monotonic() < deadline:
        time.sleep(0.01)
    server.kill()
    out, err = sync.communicate(timeout=60)
    server.start()
    assert sync.returncode != 0, "the sync ended before the server went away: " + out
    assert "sync:" in err and PASSWORD not in out + err
    assert a.snapshot() == before

    a.sync()
    b.sync()
    assert len(server.objects(a.url)) == 150
    assert b.snapshot() == before


def test_password_is_checked_and_never_shown(machines, tmp_path):
    a, _ = machines
    wrong = tmp_path / "wrong"
    wrong.write_text("not-the-password\n")
    done = a.run("sync", "--url", a.url, "--user", USER, "--password-file", str(wrong), check=False)
    assert done.returncode != 0 and "refused the user or password" in done.stderr
    assert "not-the-password" not in done.stdout + done.stderr
    endless = a.run("sync", "--url", a.url, "--user", USER, "--password-file", "/dev/zero", check=False)
    assert endless.returncode != 0 and "longer than 4096 characters" in endless.stderr
    in_url = a.run("sync", "--url", a.url.replace("//", f"//{USER}:not-the-password@"), check=False)
    assert in_url.returncode != 0 and "no user or password in the URL" in in_url.stderr
    assert "not-the-password" not in in_url.stdout + in_url.stderr
    by_env = a.run("sync", "--url", a.url, "--user", USER, "--create",
                   env={"ORNCAL_SYNC_PASSWORD": PASSWORD})
    assert by_env.returncode == 0 and PASSWORD not in by_env.stdout + by_env.stderr


def test_objects_on_another_host_are_refused(machines):
    """A server that places an object on another host gets no password sent
    there: the sync stops before it takes anything in."""
    a, _ = machines
    asked = []

    class Elsewhere(http.server.BaseHTTPRequestHandler):
        def do_REPORT(self):
            asked.append((self.command, self.path))
            body = ("<?xml version='1.0'?><multistatus xmlns='DAV:'><response>"
                    "<href>http://localhost:1/elsewhere/x.ics</href><propstat><prop>"
                    "<getetag>\"1\"</getetag><calendar-data xmlns='urn:ietf:params:xml:ns:caldav'>"
                    "BEGIN:VCALENDAR&#13;\nEND:VCALENDAR</calendar-data>"
                    "</prop></propstat></response></multistatus>").encode()
            self.send_response(207)
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *args):
            pass

    with http.server.HTTPServer(("127.0.0.1", 0), Elsewhere) as fake:
        threading.Thread(target=fake.serve_forever, daemon=True).start()
        a.url = f"http://127.0.0.1:{fake.server_address[1]}/{USER}/cal/"
        done = a.sync(check=False)
        fake.shutdown()
    assert done.returncode != 0 and "localhost:1/elsewhere/x.ics" in done.stderr
    assert "is not followed" in done.stderr and PASSWORD not in done.stderr
    assert asked == [("REPORT", f"/{USER}/cal/")]
