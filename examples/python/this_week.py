"""Lists this week's appointments, Monday 00:00 to the next Monday 00:00,
in time order.

    PYTHONPATH=build/python python3 examples/python/this_week.py [APP_DATA_FOLDER]

The calendar keeps its files in APP_DATA_FOLDER/Ornavel/Calendar/files;
without the argument the user's own application-data folder is used.
"""
import datetime
import sys

import orncalendar


def day(when):
    return when.strftime("%a %d.%m.%Y")


def main():
    if len(sys.argv) > 1:
        orncalendar.UseApplicationDataFolder(sys.argv[1])
    # The members of CalendarMain are the module's: this is its Calendar.
    calendar = orncalendar.Calendar()

    today = datetime.datetime.combine(datetime.date.today(), datetime.time())
    monday = today - datetime.timedelta(days=today.weekday())
    week = orncalendar.CreateObject("OrnCalendar.DateTimeNormal")
    week.StartDateTime = monday
    week.EndDateTime = monday + datetime.timedelta(days=7)

    # A series yields one entry per occurrence, whose DateTime is that
    # occurrence alone; an appointment reaching into two months of the week
    # stands once per month, as the same object, kept here once.
    entries = []
    for entry in calendar.AllAppointmentsInPeriod(week):
        if entry not in entries:
            entries.append(entry)
    entries.sort(key=lambda entry: entry.DateTime.StartDateTime)

    print(f"This week, {day(monday)} to {day(monday + datetime.timedelta(days=6))}:")
    for entry in entries:
        start, end = entry.DateTime.StartDateTime, entry.DateTime.EndDateTime
        if entry.AllDay:
            # An all-day entry ends at midnight after its last day.
            line = f"{day(start)} all day      {entry.Title}"
            if end - start > datetime.timedelta(days=1):
                line += f" (to {day(end - datetime.timedelta(days=1))})"
        else:
            line = f"{day(start)} {start:%H:%M}-{end:%H:%M}  {entry.Title}"
        print(line)
    if not entries:
        print("(nothing)")


if __name__ == "__main__":
    main()
