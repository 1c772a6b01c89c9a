# How a script calls: named and optional arguments, errors, default
# members, enumeration, out arguments, dates, identity and events.
import datetime
import select
import shutil
import subprocess
import sys
import tempfile
import time

import pytest

import orncalendar
from conftest import at, period


def error_of(call):
    with pytest.raises(orncalendar.Error) as e:
        call()
    return e.value.number


def titles(entries):
    return [a.Title for a in entries]


def test_named_arguments_in_any_order_and_the_defaults_of_the_period_query(calendar):
    hidden = calendar.Appointment(at(14, 9), at(14, 10))
    hidden.Title, hidden.Flags = "hidden", orncalendar.calInvisible
    all_day = calendar.Appointment(at(15), at(15), True)
    all_day.Title = "all day"
    may = period(at(1), at(31))
    # Only the period: invisible ones stay out (NotFlags 1), all-day ones in.
    assert titles(calendar.AllAppointmentsInPeriod(may)) == ["all day"]
    assert titles(calendar.AllAppointmentsInPeriod(may, NotFlags=0)) == ["hidden", "all day"]
    assert titles(calendar.AllAppointmentsInPeriod(OnlyAllDay=True, NotFlags=0, period=may)) == [
        "all day"]
    assert titles(calendar.AllAppointmentsInPeriod(may, True, False)) == []
    assert error_of(lambda: calendar.AllAppointmentsInPeriod(may, NotFlagz=0)) == 448
    assert error_of(lambda: calendar.AllAppointmentsInPeriod(NotFlags=0)) == 449


def test_unknown_names_and_read_only_members_are_error_438_and_attribute_errors(calendar):
    for action in (lambda: calendar.Nowhere, lambda: setattr(calendar, "Path", "x"),
                   lambda: setattr(calendar, "Nowhere", 1), lambda: calendar("key")):
        with pytest.raises(orncalendar.UnknownNameError) as e:
            action()
        assert e.value.number == 438 and isinstance(e.value, AttributeError)
    assert not hasattr(calendar, "Nowhere")
    assert calendar.path == calendar.PATH == calendar.Path  # names are blind to case
    assert error_of(lambda: calendar.GetAppointment(200805)) == 449


def test_the_edge_cases_of_the_optional_arguments(calendar):
    # Every argument of Appointment is optional; without dates it is not filed.
    for source in (orncalendar, calendar):
        assert source.Appointment().ID == 0
    # FindAppointment with the name alone searches both ways from now.
    dentist = calendar.Appointment(at(20, 9), at(20, 10))
    dentist.Title = "Zahnarzt"
    assert calendar.FindAppointment(" zahnarzt ") is dentist
    assert calendar.FindAppointment("Zahnarzt", Direction=-1) is None
    # Categories.Add without a colour gives -1; Color is the default member.
    categories = calendar.Categories()
    categories.Add("Arbeit")
    categories.Add(Color=255, Category="Urlaub")
    assert (categories("ARBEIT"), categories["urlaub"], categories.Color("Urlaub")) == (-1, 255, 255)
    categories["Arbeit"] = 0x00FF00
    categories.Color["Urlaub"] = 7
    assert categories.Names() == ("Arbeit", "Urlaub")
    assert (categories("Arbeit"), categories("Urlaub")) == (0x00FF00, 7)
    assert error_of(lambda: categories.Add("arbeit")) == 457


def test_default_members_enumeration_and_identity(calendar):
    for hour in (11, 9, 10):
        calendar.Appointment(at(14, hour), at(14, hour + 1)).Title = f"{hour}:00"
    entries = calendar.AllAppointmentsInPeriod(period(at(1), at(31)))
    entries.Sort()
    assert titles(entries) == ["9:00", "10:00", "11:00"]
    assert entries(2) is entries[2] is entries.Item(2) is entries.Item(IndexKey=2)
    assert entries(2) == calendar.GetAppointment(200805, entries(2).ID)
    assert len({entries(1), entries(1)}) == 1
    assert error_of(lambda: entries(4)) == 9
    # Removing while walking is safe: the walk goes by position.
    collection = entries.ConvertToCollection()
    walked = [collection.Remove(1) or a for a in collection]
    assert len(walked) == 2 and entries.Count == 1
    assert orncalendar.Calend() is calendar is orncalendar.Calendar()


def test_out_arguments_come_back_after_the_result(calendar):
    soon = calendar.Appointment(at(14, 10, 10), at(14, 11))
    soon.Remind, soon.RemindAt = True, -300
    soon.NotifyChange()
    assert calendar.GetRemindAppointments(None) == (False, None)
    orncalendar._orncalendar._testing_set_clock(at(14, 10, 6))
    due = calendar.GetRemindAppointments(Out_Appointments=None)
    assert due[0] is True and list(due[1]) == [soon]

    for end in (20, 16, 18):
        task = calendar.Task()
        task.DateTime = period(at(10), at(end))
    tasks = calendar.IncompleteTasks
    result, tasks = calendar.SortTasks(tasks)
    assert result is None and tasks is not calendar.IncompleteTasks
    assert [t.DateTime.EndDateTime.day for t in tasks] == [16, 18, 20]

    soon.AddTag("Raum", "Text", "4.12")
    assert soon.GetTags(None, None, None) == (1, ("", "Raum"), ("", "Text"), ("", "4.12"))
    # An optional out argument left out leaves a plain result.
    assert soon.DateTime.OverLapsWith(period(at(14), at(15))) is True
    overlaps, pieces = soon.DateTime.OverLapsWith(period(at(14), at(15)), None, True)
    assert overlaps and list(pieces) == [soon.DateTime]


@pytest.mark.parametrize("when", [
    datetime.datetime(2008, 5, 14, 23, 59, 59),
    datetime.datetime(1899, 12, 30),
    datetime.datetime(1899, 12, 29, 6, 0, 1),
    datetime.datetime(100, 1, 1, 0, 0, 1),
    datetime.datetime(9999, 12, 31, 23, 59, 59),
])
def test_dates_are_datetimes_exact_to_the_second(calendar, when):
    p = period(when, datetime.date(2008, 5, 14))
    assert (p.StartDateTime, p.EndDateTime) == (when, datetime.datetime(2008, 5, 14))


def test_change_reaches_a_python_handler_until_the_connection_closes(calendar, monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", reported.append)

    class Handler:
        def __init__(self):
            self.events = []

        def Change(self):
            self.events.append("Change")

        def TasksChange(self):
            self.events.append("TasksChange")
            raise RuntimeError("a failing handler does not stop the change")

    handler = Handler()
    with orncalendar.WithEvents(calendar.Notificator(), handler):
        calendar.Notificator().RaiseChange(False)
        task = calendar.Task()
        appointment = calendar.Appointment(at(14, 9), at(14, 10))
        appointment.NotifyChange()
    assert handler.events[:2] == ["Change", "TasksChange"] and handler.events[-1] == "Change"
    assert task.ID != 0 and [type(r.exc_value) for r in reported] == [RuntimeError]
    count = len(handler.events)
    appointment.NotifyChange()
    assert len(handler.events) == count


# A second process on the same data folder: it files an appointment, changes
# it and adds a task, without saving.
OTHER_PROCESS = """
import datetime, sys
import orncalendar
orncalendar.UseApplicationDataFolder(sys.argv[1])
calendar = orncalendar.Calendar()
entry = calendar.Appointment(datetime.datetime(2008, 5, 14, 9), datetime.datetime(2008, 5, 14, 10))
entry.Title = "from the other process"
entry.NotifyChange()
calendar.Task()
"""


def test_changes_of_another_process_reach_a_python_handler_through_the_event_loop(
        tmp_path, monkeypatch):
    # A notifier of the test's own: the package's, in a runtime folder of its
    # own (short, for the socket's path), ending soon after the last calendar.
    runtime = tempfile.mkdtemp(prefix="orncal-")
    monkeypatch.setenv("XDG_RUNTIME_DIR", runtime)
    monkeypatch.setenv("ORNCAL_NOTIFIER_LINGER_MS", "200")
    monkeypatch.delenv("ORNCAL_NOTIFIER", raising=False)
    orncalendar._orncalendar._testing_restart(str(tmp_path))
    try:
        calendar = orncalendar.Calendar()
        assert calendar.IncompleteTasks.Count() == 0  # a task list read hears of new tasks
        events = []

        class Handler:
            def Change(self):
                events.append("Change")

            def TasksChange(self):
                events.append("TasksChange")

        descriptor = orncalendar.NotificationDescriptor()
        assert descriptor >= 0
        with orncalendar.WithEvents(calendar.Notificator(), Handler()):
            other = subprocess.Popen([sys.executable, "-c", OTHER_PROCESS, str(tmp_path)],
                                     stderr=subprocess.PIPE, text=True)
            # The other process waits on this one (for the month it reads),
            # so the loop runs until it has ended and both events came.
            give_up = time.monotonic() + 30
            while other.poll() is None or not {"Change", "TasksChange"} <= set(events):
                assert time.monotonic() < give_up, events
                select.select([descriptor], [], [], 0.1)
                orncalendar.ProcessNotifications()
        assert other.returncode == 0, other.stderr.read()
        may = calendar.AllAppointmentsInPeriod(period(at(1), at(31)))
        assert titles(may) == ["from the other process"] and calendar.IncompleteTasks.Count() == 1
    finally:
        orncalendar._orncalendar._testing_restart(str(tmp_path))
        shutil.rmtree(runtime, ignore_errors=True)
