# Every class reached by name and every member of the object model called
# by name with its defaults; the names themselves, letter for letter.
import pytest

import orncalendar
from conftest import at, period

# The members of each class, as clients spell them (the interface a class
# is handled through included).
APPOINTMENT = """ID File OutsideID OutsideFile Title Notes AllDay Remind RemindAt Changed
    Category Project Flags DateTime PartDateTime AppointmentType Color Appointment
    BeforeDateTimeChange AfterDateTimeChange Remove NotifyChange Exists TagsCount TagName TagType
    TagData AddTag RemoveTag Series"""
DATETIME = "StartDateTime EndDateTime DateTimeType OverLapsWith GetFirstDate GetLastDate Series FirstOccurency"
SURFACE = {
    "CalendarMain": "Calendar Calend CollectionItemExists Appointment Task",
    "Calendar": """AllFiles GetRemindAppointments Categories Notificator SpecialRemindTimes Path
        AllAppointmentsInPeriod Appointment Save SaveSpecialRemindTimes GetAppointment
        FindAppointment Release ShowAbout IncompleteTasks IncompleteTasksInPeriod
        IncompleteTasksBefore CompleteTasksInPeriod Task SortTasks IncompleteTaskFromID""",
    "File": """LinksResolved Changed Appointments Month Year FileName FilePath FileLong Calendar
        ResolveLinks GetEmptyID ItemExists Load ResetChanged NewLoaded""",
    "AppointmentReal": APPOINTMENT + " GetTags",
    "AppointmentLink": APPOINTMENT + " DestinationAppointment",
    "Appointments": "ConvertToCollection Item Count RemoveDoubles NewEnum Sort",
    "DateTime": DATETIME,
    "DateTimeNormal": DATETIME,
    "DateTimeSerial": DATETIME + """ SeriesStartDateTime SeriesEndDateTime RepetitionMode m n
        InMonth Weekdays Eternal AdjustStartDate""",
    "Task": """Completed ConnectedAppointment RemindAppointment PlannedEnd DateTime
        AfterDateTimeChange BeforeDateTimeChange NotifyChange Changed Title Notes Project Remove
        Complete InComplete ID RemindAt""",
    "Categories": "Changed Calendar CategoryExists Color Add Remove Count Save Names",
    "SpecialRemindTime": "RemindAt Appointment",
    "Notificator": "RaiseChange",
}
CREATABLE = ["CalendarMain", "AppointmentReal", "AppointmentLink", "Appointments", "DateTime",
             "DateTimeNormal", "DateTimeSerial", "Task", "SpecialRemindTime", "Notificator"]


def every_class(calendar):
    objects = {name: orncalendar.CreateObject("OrnCalendar." + name) for name in CREATABLE}
    objects.update(
        Calendar=objects["CalendarMain"].Calendar(),
        Categories=calendar.Categories(),
        File=orncalendar._orncalendar._testing_month_file(calendar, 200805),
    )
    return objects


def test_every_class_is_reached_by_name_with_its_members_spelt_as_clients_call_them(calendar):
    objects = every_class(calendar)
    assert {n: o._class_name for n, o in objects.items()} == {n: n for n in SURFACE}
    for name, members in SURFACE.items():
        assert sorted(dir(objects[name])) == sorted(members.split()), name
    for name in ["Calendar", "File", "Appointment", "Categories", "Nothing"]:
        with pytest.raises(orncalendar.Error) as e:
            orncalendar.CreateObject("OrnCalendar." + name)
        assert e.value.number == 429


def sample(calendar, type_name):
    return {
        "Boolean": True, "Integer": 0, "Long": 1, "Date": at(14), "String": "Arbeit",
        "Variant": 1, "_DateTimeNormal": period(at(1), at(31)),
        "Collection": calendar.IncompleteTasks,
    }.get(type_name)


# What the object model answers on the objects at hand: the call arrived.
EXPECTED = {
    ("AppointmentLink", "*"): 91,  # a link without destination
    ("AppointmentReal", "RemoveTag"): 9,  # no tags
    ("AppointmentReal", "TagName"): 9,
    ("AppointmentReal", "TagType"): 9,
    ("AppointmentReal", "TagData"): 9,
    ("Appointments", "Item"): 9,  # an empty list
    ("Categories", "Remove"): 5,
    ("DateTimeSerial", "OverLapsWith"): 11,  # n = 0
    ("Task", "Complete"): 5,  # a task without period
    ("File", "Load"): None,  # no file on disk: a message, no error
}


def test_every_member_is_called_by_name_with_its_defaults(calendar, capfd):
    objects = every_class(calendar)
    objects["AppointmentReal"] = calendar.Appointment(at(14, 9), at(14, 10))
    called = 0
    for class_name, obj in objects.items():
        for name in dir(obj):
            expected = EXPECTED.get((class_name, name), EXPECTED.get((class_name, "*")))
            try:  # a property is read, a method called
                value = getattr(obj, name)
                if isinstance(value, orncalendar.Member):
                    args = [None if arg.startswith("Out_") else sample(calendar, t)
                            for arg, t, optional, out in value._args if not optional]
                    value(*args)
                called += 1
            except orncalendar.Error as e:
                assert e.number == expected, f"{class_name}.{name}: {e}"
                called += 1
    assert called == sum(len(m.split()) for m in SURFACE.values())
    assert "Ornavel Calendar 0.1.0" in capfd.readouterr().err  # ShowAbout
