"""Ornavel Calendar for Python scripts.

The calendar's objects are called by name, as a dynamic automation client
calls them:

    import orncalendar
    main = orncalendar.CreateObject("OrnCalendar.CalendarMain")
    calendar = main.Calendar()
    week = orncalendar.CreateObject("OrnCalendar.DateTimeNormal")
    week.StartDateTime = datetime.datetime(2008, 5, 12)
    week.EndDateTime = datetime.datetime(2008, 5, 19)
    for entry in calendar.AllAppointmentsInPeriod(week, NotFlags=0):
        print(entry.Title, entry.DateTime.StartDateTime)

- Properties are attributes (``a.Title``, ``a.Title = "x"``); objects are
  set the same way (``a.DateTime = period``).
- Methods are called (``calendar.Save()``), with keyword arguments for the
  named ones in any order; optional arguments left out take their defaults.
- A property with arguments is called to read it and indexed to write it
  (``a.TagName(1)``, ``a.TagName[1] = "Raum"``).
- ``obj(key)`` and ``obj[key]`` read the default member
  (``appointments(1)``, ``categories("Work")``); ``obj[key] = v`` writes it.
- ``for x in obj`` walks a collection.
- When out arguments are passed, the call returns a tuple of the result and
  their new values: ``ok, due = calendar.GetRemindAppointments(None)``.
- Dates are ``datetime.datetime`` (naive, local wall-clock time), to the
  second.
- Errors are ``orncalendar.Error`` with the run-time error ``number``;
  an unknown name raises ``UnknownNameError`` (number 438), which is also an
  ``AttributeError``.
- The members of ``CalendarMain`` can be called on the module itself:
  ``orncalendar.Calendar()``.
- Events: ``orncalendar.WithEvents(notificator, handler)`` calls the
  handler's ``Change`` and ``TasksChange`` methods. Other processes'
  changes arrive when the script calls ``ProcessNotifications()``; an
  event loop waits on ``NotificationDescriptor()`` for them.

The enumerations are module attributes (``orncalendar.calWeekly``).
"""


class Error(Exception):
    """An error of the calendar, with its run-time error number."""

    def __init__(self, number, description, name=""):
        text = f"{description} ({number})"
        if name:
            text = f"{name}: {text}"
        super().__init__(text)
        self.number = number
        self.description = description


class UnknownNameError(Error, AttributeError):
    """An object has no member of that name (error 438)."""


from . import _orncalendar  # noqa: E402

_orncalendar._set_error_classes(Error, UnknownNameError)

Object = _orncalendar.Object
Member = _orncalendar.Member
CreateObject = _orncalendar.CreateObject
UseApplicationDataFolder = _orncalendar.UseApplicationDataFolder
UseNotifier = _orncalendar.UseNotifier
ProcessNotifications = _orncalendar.ProcessNotifications
NotificationDescriptor = _orncalendar.NotificationDescriptor
globals().update(_orncalendar._enums)


class Connection:
    """The connection of an event handler to an object's events.

    It lasts until ``close()`` (or the end of a ``with`` block), or until
    the connection object is gone.
    """

    def __init__(self, source, handler):
        self._source = source
        self._cookie = _orncalendar._advise(source, handler)
        self.handler = handler

    def close(self):
        if self._cookie is not None:
            cookie, self._cookie = self._cookie, None
            _orncalendar._unadvise(self._source, cookie)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __del__(self):
        try:
            self.close()
        except Exception:
            pass


def WithEvents(source, handler):
    """Delivers the events of ``source`` (a Notificator) to ``handler``.

    The handler's methods are called by the events' names, ``Change()`` and
    ``TasksChange()``, on the thread whose call caused the event (for the
    changes of other processes: inside ``ProcessNotifications()``); a
    handler may leave either out. What a handler raises is reported and does not
    stop the change that raised the event. Keep the returned connection
    for as long as the events are wanted.
    """
    return Connection(source, handler)


def __getattr__(name):
    # The members of the application object, CalendarMain.
    if name.startswith("_"):
        raise AttributeError(name)
    return getattr(_orncalendar._application(), name)
