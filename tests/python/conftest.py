# Each test gets the process's calendar started afresh on a data folder of
# its own, with the clock standing at 14 May 2008, 10:00.
import datetime

import pytest

import orncalendar

NOW = datetime.datetime(2008, 5, 14, 10, 0)


@pytest.fixture
def calendar(tmp_path):
    orncalendar._orncalendar._testing_restart(str(tmp_path))
    orncalendar._orncalendar._testing_set_clock(NOW)
    yield orncalendar.CreateObject("OrnCalendar.CalendarMain").Calendar()
    orncalendar._orncalendar._testing_set_clock(None)


def period(start, end):
    p = orncalendar.CreateObject("OrnCalendar.DateTimeNormal")
    p.StartDateTime, p.EndDateTime = start, end
    return p


def at(day, hour=0, minute=0):
    return datetime.datetime(2008, 5, day, hour, minute)
