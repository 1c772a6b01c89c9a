"""iCalendar written by another implementation (python3-icalendar) read by
orncal import: zones, all-day events, recurrences no series describes,
to-dos, a second import, and input that is refused whole."""
from datetime import date, datetime, timedelta, timezone

import pytest
import pytz
from icalendar import Calendar, Event, Timezone, TimezoneStandard, Todo

from orncal_env import Orncal, ole_to_datetime


NEW_YORK = pytz.timezone("America/New_York")


def vcalendar(*components):
    cal = Calendar()
    cal.add("prodid", "-//test//written elsewhere//EN")
    cal.add("version", "2.0")
    for c in components:
        cal.add_component(c)
    return cal.to_ical()


def event(uid, summary, start, end=None, **extra):
    e = Event()
    e.add("uid", uid)
    e.add("summary", summary)
    e.add("dtstamp", datetime(2024, 1, 1, tzinfo=timezone.utc))
    e.add("dtstart", start)
    if end is not None:
        e.add("dtend", end)
    for name, value in extra.items():
        e.add(name.replace("_", "-"), value)
    return e


def fixed_zone(tzid, hours):
    """A VTIMEZONE of its own name, so only the file says what it means."""
    tz = Timezone()
    tz.add("tzid", tzid)
    std = TimezoneStandard()
    std.add("dtstart", datetime(1970, 1, 1))
    std.add("tzoffsetfrom", timedelta(hours=hours))
    std.add("tzoffsetto", timedelta(hours=hours))
    tz.add_component(std)
    return tz


def mixed_file():
    zoned = event("zoned", "zoned", datetime(2024, 5, 10, 18, 0), datetime(2024, 5, 10, 19, 0))
    zoned["DTSTART"].params["TZID"] = "Office/Far East"
    zoned["DTEND"].params["TZID"] = "Office/Far East"
    todo = Todo()
    todo.add("uid", "todo-open")
    todo.add("summary", "open to-do")
    todo.add("dtstart", datetime(2024, 2, 1, 9, 0))
    todo.add("due", datetime(2024, 2, 9, 17, 0))
    done = Todo()
    done.add("uid", "todo-done")
    done.add("summary", "done to-do")
    done.add("dtstart", datetime(2024, 1, 10, 9, 0))
    done.add("status", "COMPLETED")
    done.add("completed", datetime(2024, 1, 12, 11, 0))
    weekly = event("weekly-exdate", "weekly with a gap", datetime(2024, 2, 5, 10, 0),
                   datetime(2024, 2, 5, 11, 0), rrule={"freq": "weekly", "count": 5})
    weekly.add("exdate", datetime(2024, 2, 12, 10, 0))
    return vcalendar(
        fixed_zone("Office/Far East", 9),
        event("utc", "in UTC", datetime(2024, 3, 5, 14, 0, tzinfo=timezone.utc),
              datetime(2024, 3, 5, 15, 0, tzinfo=timezone.utc)),
        # A zone of the zone database, named without a VTIMEZONE.
        event("new-york", "in New York", NEW_YORK.localize(datetime(2024, 7, 4, 9, 0)),
              NEW_YORK.localize(datetime(2024, 7, 4, 10, 0))),
        zoned,
        event("floating", "floating", datetime(2024, 4, 1, 8, 15), datetime(2024, 4, 1, 9, 0),
              description="two\nlines", categories=["Work"]),
        event("all-day", "all day", date(2024, 6, 1), date(2024, 6, 2)),
        event("three-days", "three days", date(2024, 8, 7), date(2024, 8, 10)),
        event("monthly", "monthly 15th", datetime(2024, 1, 15, 9, 0), datetime(2024, 1, 15, 9, 30),
              rrule={"freq": "monthly", "bymonthday": 15}),
        weekly,
        event("beyond", "\u65e5\u672c", datetime(2024, 9, 1, 12, 0), datetime(2024, 9, 1, 13, 0)),
        todo, done)


@pytest.fixture()
def cal(tmp_path):
    return Orncal(tmp_path / "home")


def starts(cal, title):
    return sorted(ole_to_datetime(e["start"]) for e in cal.entries("2024-01-01", "2025-01-01")
                  if e["title"] == title)


def test_objects_from_another_writer(cal, tmp_path):
    path = tmp_path / "in.ics"
    path.write_bytes(mixed_file())
    first = cal.run("import", "--ics", str(path))
    assert "1 recurring event that no series describes became 4 appointments" in first.stdout
    assert "beyond: SUMMARY" in first.stderr

    # (title, local starts in Europe/Berlin)
    for title, want in [
        ("in UTC", [datetime(2024, 3, 5, 15, 0)]),
        ("in New York", [datetime(2024, 7, 4, 15, 0)]),
        ("zoned", [datetime(2024, 5, 10, 11, 0)]),
        ("floating", [datetime(2024, 4, 1, 8, 15)]),
        ("weekly with a gap", [datetime(2024, 2, d, 10, 0) for d in (5, 19, 26)] +
         [datetime(2024, 3, 4, 10, 0)]),
        ("monthly 15th", [datetime(2024, m, 15, 9, 0) for m in range(1, 13)]),
    ]:
        assert starts(cal, title) == want, title

    entries = {e["title"]: e for e in cal.entries("2024-01-01", "2025-01-01")}
    assert entries["floating"]["notes"] == "two\r\nlines" or entries["floating"]["notes"] == "two\nlines"
    assert entries["floating"]["category"] == "Work"
    assert entries["monthly 15th"]["series"] is not None
    for title, days in [("all day", 1), ("three days", 3)]:
        e = entries[title]
        assert e["all_day"], title
        assert ole_to_datetime(e["end"]) - ole_to_datetime(e["start"]) == timedelta(days=days), title
    assert "??" in "".join(entries)

    tasks = {t["title"]: t for t in cal.tasks(done=True) + cal.tasks()}
    assert not tasks["open to-do"]["completed"]
    assert ole_to_datetime(tasks["open to-do"]["planned_end"]) == datetime(2024, 2, 9, 17, 0)
    assert tasks["done to-do"]["completed"]

    # The same file again changes nothing and adds nothing.
    before = cal.entries("2024-01-01", "2025-01-01")
    again = cal.run("import", "--ics", str(path))
    assert "9 appointments (0 new, 0 updated, 9 unchanged; 1 series) and 2 tasks (0 new, 0 updated, " \
        "2 unchanged)" in again.stdout
    assert cal.entries("2024-01-01", "2025-01-01") == before


def test_a_changed_object_updates_what_it_became(cal, tmp_path):
    path = tmp_path / "in.ics"
    path.write_bytes(vcalendar(event("u1", "before", datetime(2024, 3, 1, 9, 0), datetime(2024, 3, 1, 10, 0))))
    cal.run("import", "--ics", str(path))
    path.write_bytes(vcalendar(event("u1", "after", datetime(2024, 3, 2, 9, 0), datetime(2024, 3, 2, 10, 0))))
    assert "1 updated" in cal.run("import", "--ics", str(path)).stdout
    assert [(e["title"], ole_to_datetime(e["start"])) for e in cal.entries("2024-01-01", "2025-01-01")] == \
        [("after", datetime(2024, 3, 2, 9, 0))]


GOOD = event("good", "good", datetime(2024, 3, 1, 9, 0), datetime(2024, 3, 1, 10, 0)).to_ical().decode()


@pytest.mark.parametrize("text, message", [
    ("", "empty"),
    ("just some text\n", "no iCalendar data"),
    ("BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + GOOD, "not ended"),
    ("BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + GOOD.replace("20240301T090000", "2024-03-01 9am") + "END:VCALENDAR\r\n",
     "malformed"),
    ("BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + GOOD + "BEGIN:VEVENT\r\nUID:x\r\nSUMMARY:no start\r\n"
     "END:VEVENT\r\nEND:VCALENDAR\r\n", "no DTSTART"),
    ("BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + GOOD + "BEGIN:VTODO\r\nUID:y\r\nSUMMARY:year 0\r\n"
     "DUE:00000101T000000\r\nEND:VTODO\r\nEND:VCALENDAR\r\n", "outside the years 100 to 9999"),
])
def test_malformed_input_is_refused_whole(cal, tmp_path, text, message):
    path = tmp_path / "bad.ics"
    path.write_text(text)
    done = cal.run("import", "--ics", str(path), check=False)
    assert done.returncode != 0
    assert message in done.stderr and "nothing was imported" in done.stderr
    assert cal.entries("2024-01-01", "2025-01-01") == []


def test_rules_recurring_every_second_are_cut_short(cal, tmp_path):
    # Read in moments, not hours: one every second without end, and one
    # counted from a start long before the horizon.
    path = tmp_path / "dense.ics"
    path.write_bytes(vcalendar(
        event("seconds", "seconds", datetime(2024, 3, 1, 9, 0), rrule={"freq": "secondly"}),
        event("counted", "counted", datetime(1900, 1, 1), rrule={"freq": "secondly", "count": 2000000000})))
    done = cal.run("import", "--ics", str(path), "--dry-run")
    assert "2 recurring events that no series describes became 200000 appointments" in done.stdout
