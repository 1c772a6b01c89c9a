"""The export read back by another implementation (python3-icalendar with
dateutil's rrule): every repetition mode shows the same occurrences, day by
day over ten years, as the calendar lists them."""
from datetime import date, datetime

import pytest
from dateutil.rrule import rrulestr
from icalendar import Calendar

from orncal_env import Orncal

FROM, TO = datetime(2024, 1, 1), datetime(2034, 1, 1)

# Title, add-series arguments. Both the rules that map exactly and those
# written as their days are here.
SERIES = [
    ("daily", ["--mode", "daily", "--from", "2024-01-03", "--eternal"]),
    ("daily every 3", ["--mode", "daily", "--every", "3", "--from", "2024-02-10", "--until", "2031-05-01"]),
    ("weekly mon wed", ["--mode", "weekly", "--weekdays", "mon,wed", "--from", "2024-01-01", "--eternal"]),
    ("weekly 2 tue fri from thu", ["--mode", "weekly", "--every", "2", "--weekdays", "tue,fri", "--from", "2024-02-15", "--eternal"]),
    ("weekly 3 sat sun", ["--mode", "weekly", "--every", "3", "--weekdays", "sat,sun", "--from", "2024-03-31", "--until", "2030-01-01"]),
    ("monthly 15", ["--mode", "monthly", "--m", "15", "--from", "2024-01-20", "--eternal"]),
    ("monthly 31", ["--mode", "monthly", "--m", "31", "--from", "2024-01-01", "--eternal"]),
    ("monthly 30 every 2", ["--mode", "monthly", "--m", "30", "--every", "2", "--from", "2024-01-01", "--eternal"]),
    ("monthly last", ["--mode", "monthly", "--m", "-1", "--from", "2024-01-01", "--eternal"]),
    ("monthly third last", ["--mode", "monthly", "--m", "-3", "--from", "2024-01-01", "--eternal"]),
    ("monthly 10 every 13", ["--mode", "monthly", "--m", "10", "--every", "13", "--from", "2024-01-01", "--eternal"]),
    ("monthly 5 every 12 december", ["--mode", "monthly", "--m", "5", "--every", "12", "--from", "2024-12-01", "--eternal"]),
    ("yearly feb 29", ["--mode", "yearly", "--in-month", "2", "--m", "29", "--from", "2024-01-01", "--eternal"]),
    ("yearly jul 4 every 2", ["--mode", "yearly", "--in-month", "7", "--m", "4", "--every", "2", "--from", "2024-01-01", "--eternal"]),
    ("yearly-day 60", ["--mode", "yearly-day", "--m", "60", "--from", "2024-01-01", "--eternal"]),
    ("yearly-day 366", ["--mode", "yearly-day", "--m", "366", "--from", "2024-01-01", "--eternal"]),
    ("yearly-day last", ["--mode", "yearly-day", "--m", "-1", "--from", "2024-01-01", "--eternal"]),
    ("second friday", ["--mode", "weekday-in-month", "--m", "2", "--weekdays", "fri", "--from", "2024-01-01", "--eternal"]),
    ("last mon or fri", ["--mode", "weekday-in-month", "--m", "-1", "--weekdays", "mon,fri", "--from", "2024-01-01", "--eternal"]),
    ("fifth thursday", ["--mode", "weekday-in-month", "--m", "5", "--weekdays", "thu", "--from", "2024-01-01", "--eternal"]),
    ("third tue or thu every 2", ["--mode", "weekday-in-month", "--m", "3", "--weekdays", "tue,thu", "--every", "2", "--from", "2024-01-01", "--eternal"]),
    ("tenth tuesday of year", ["--mode", "weekday-in-year", "--m", "10", "--weekdays", "tue", "--from", "2024-01-01", "--eternal"]),
    ("second last weekend day of year", ["--mode", "weekday-in-year", "--m", "-2", "--weekdays", "sat,sun", "--from", "2024-01-01", "--eternal"]),
    ("fourth thursday of november", ["--mode", "weekday-in-year-month", "--in-month", "11", "--m", "4", "--weekdays", "thu", "--from", "2024-01-01", "--eternal"]),
    ("last monday of may", ["--mode", "weekday-in-year-month", "--in-month", "5", "--m", "-1", "--weekdays", "mon", "--from", "2024-01-01", "--until", "2030-12-31"]),
]


def expand(event):
    """The starts of one VEVENT in [FROM, TO) as the other implementation reads them."""
    start = event["DTSTART"].dt
    all_day = not isinstance(start, datetime)
    first = datetime(start.year, start.month, start.day) if all_day else start
    starts = {first}
    if "RRULE" in event:
        text = event["RRULE"].to_ical().decode()
        starts |= set(rrulestr(text, dtstart=first).between(FROM, TO, inc=True))
    rdates = event.get("RDATE", [])
    for group in rdates if isinstance(rdates, list) else [rdates]:
        for value in group.dts:
            d = value.dt
            starts.add(datetime(d.year, d.month, d.day) if isinstance(d, date) and not isinstance(d, datetime) else d)
    return {s for s in starts if FROM <= s < TO}


@pytest.fixture(scope="module")
def exported(tmp_path_factory):
    home = tmp_path_factory.mktemp("home")
    cal = Orncal(home)
    for title, args in SERIES:
        timing = ["--all-day"] if "yearly" in title else ["--time", "09:30-10:45"]
        cal.run("add-series", title, *args, *timing)
    path = home / "out.ics"
    cal.run("export", "--ics", str(path), "--from", "2024-01-01", "--to", "2034-01-01")
    parsed = Calendar.from_ical(path.read_bytes())
    return cal, parsed


def test_every_mode_shows_the_same_days_over_ten_years(exported):
    cal, parsed = exported
    listed = cal.starts_by_title("2024-01-01", "2034-01-01")
    read = {str(e["SUMMARY"]): expand(e) for e in parsed.walk("VEVENT")}
    assert sorted(read) == sorted(title for title, _ in SERIES)
    for title, _ in SERIES:
        assert read[title] == listed[title], title


def test_rules_where_they_are_exact_and_days_elsewhere(exported):
    _, parsed = exported
    by_title = {str(e["SUMMARY"]): e for e in parsed.walk("VEVENT")}
    listed_days = {"monthly 31", "monthly 10 every 13",
                   "yearly feb 29", "yearly-day 366", "fifth thursday"}
    for title, _ in SERIES:
        assert ("RRULE" in by_title[title]) == (title not in listed_days), title
