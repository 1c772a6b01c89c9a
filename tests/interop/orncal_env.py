"""Running orncal on a data folder of a test's own."""
import json
import os
import subprocess
from datetime import datetime, timedelta

ORNCAL = os.environ.get("ORNCAL_EXE", "orncal")
OLE_EPOCH = datetime(1899, 12, 30)


def ole_to_datetime(value):
    """An OLE date as a naive datetime, to the second."""
    return OLE_EPOCH + timedelta(seconds=round(value * 86400))


class Orncal:
    def __init__(self, home, now="2024-01-01T08:00"):
        self.home = str(home)
        self.exe = ORNCAL
        self.env = dict(os.environ, ORNCAL_NOTIFIER="off", ORNCAL_NOW=now, TZ="Europe/Berlin")

    def run(self, *args, check=True, stdin=None, env=None):
        done = subprocess.run([ORNCAL, "--data-home", self.home, *args], input=stdin,
                              capture_output=True, text=True, env={**self.env, **(env or {})},
                              timeout=120)
        if check and done.returncode != 0:
            raise AssertionError(f"orncal {' '.join(args)} failed: {done.stderr}")
        return done

    def entries(self, start, end):
        out = self.run("list", "--from", start, "--to", end, "--json").stdout
        return json.loads(out)["appointments"]

    def starts_by_title(self, start, end):
        """Each title's occurrence starts as the calendar lists them."""
        found = {}
        for entry in self.entries(start, end):
            found.setdefault(entry["title"], set()).add(ole_to_datetime(entry["start"]))
        return found

    def tasks(self, done=False):
        args = ["task", "list", "--json"]
        if done:
            args += ["--done", "--from", "1990-01-01", "--to", "2100-01-01"]
        return json.loads(self.run(*args).stdout)["tasks"]
