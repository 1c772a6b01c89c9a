"""Prints reminders as they fall due: asks the calendar every few seconds
which reminders have come, and in between takes in what other processes
change on the same data folder (their new appointments remind here too).

    PYTHONPATH=build/python python3 examples/python/reminders.py \
        [--every SECONDS] [--polls N | --once] [--demo] [APP_DATA_FOLDER]

--every  seconds between two polls (default 30)
--polls  how many polls before the script ends (default 10); --once is --polls 1
--demo   first adds an appointment (not saved) whose reminder falls due a
         second later, to see one arrive
"""
import argparse
import datetime
import select
import time

import orncalendar


def show(when):
    return when.strftime("%a %d.%m.%Y %H:%M:%S")


def wait(seconds):
    """Waits, letting the calendar handle the other processes' changes as
    they arrive (the notifier relays them; -1: the calendar works alone)."""
    descriptor = orncalendar.NotificationDescriptor()
    end = time.monotonic() + seconds
    while (left := end - time.monotonic()) > 0:
        if descriptor < 0:
            time.sleep(left)
            return
        select.select([descriptor], [], [], left)
        orncalendar.ProcessNotifications()


def main():
    parser = argparse.ArgumentParser(description="Prints reminders as they fall due.")
    parser.add_argument("--every", type=int, default=30)
    parser.add_argument("--polls", type=int, default=10)
    parser.add_argument("--once", action="store_const", const=1, dest="polls")
    parser.add_argument("--demo", action="store_true")
    parser.add_argument("folder", nargs="?")
    args = parser.parse_args()
    if args.every < 0 or args.polls < 1:
        parser.error("--every must be 0 or more, --polls 1 or more")
    if args.folder:
        orncalendar.UseApplicationDataFolder(args.folder)
    calendar = orncalendar.Calendar()

    # A reminder falls due at its appointment's start plus RemindAt seconds
    # (negative: before the start). The calendar hands out every reminder
    # whose moment lies between the previous poll (or its start, or the last
    # change) and now, each once.
    if args.demo:
        now = datetime.datetime.now().replace(microsecond=0)
        coffee = calendar.Appointment(now + datetime.timedelta(seconds=60),
                                      now + datetime.timedelta(minutes=16), SaveNow=False)
        coffee.Title = "Coffee"
        coffee.Remind = True
        coffee.RemindAt = -59
        # Filed in memory; without Save it never reaches the disk.
        coffee.AfterDateTimeChange()

    print(f"polling every {args.every} s, {args.polls} time(s)", flush=True)
    for _ in range(args.polls):
        wait(args.every)
        # The out argument comes back after the result; it is replaced only
        # when something is due.
        any_due, due = calendar.GetRemindAppointments(None)
        if not any_due:
            continue
        for appointment in due:
            print(f"{show(datetime.datetime.now())} reminder: {appointment.Title}, "
                  f"starts {show(appointment.DateTime.StartDateTime)}", flush=True)


if __name__ == "__main__":
    main()
