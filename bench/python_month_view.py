"""The warm month view of the calendar benchmark read from Python: every
entry's title and start, compared with the same read in C++
(BM_MonthViewRead of dispatch_bench). Goal: within 5 times the C++ time.
Both sides are measured in CPU time, which other work on the machine
disturbs less than the wall clock.

    PYTHONPATH=build-bench/python python3 bench/python_month_view.py build-bench
"""
import datetime
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import orncalendar


def python_read(calendar, june):
    characters = 0
    last = None
    for entry in calendar.AllAppointmentsInPeriod(june):
        characters += len(entry.Title)
        last = entry.DateTime.StartDateTime
    return characters, last


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build-bench"
    bench = os.path.join(build, "bench")
    with tempfile.TemporaryDirectory(prefix="orncal-bench-") as folder:
        subprocess.run([os.path.join(bench, "calendar_folder"), folder], check=True)
        orncalendar.UseApplicationDataFolder(folder)
        orncalendar.UseNotifier(False)  # the calendar alone, as in C++
        # The clock of the C++ benchmark.
        orncalendar._orncalendar._testing_set_clock(datetime.datetime(2015, 6, 10, 10, 30))
        calendar = orncalendar.Calendar()
        june = orncalendar.CreateObject("OrnCalendar.DateTimeNormal")
        june.StartDateTime = datetime.datetime(2015, 6, 1)
        june.EndDateTime = datetime.datetime(2015, 7, 1)
        entries = calendar.AllAppointmentsInPeriod(june).Count
        python_read(calendar, june)  # warm
        runs = []
        for _ in range(7):
            rounds = 50
            started = time.process_time()
            for _ in range(rounds):
                python_read(calendar, june)
            runs.append((time.process_time() - started) / rounds * 1e6)
    python_us = statistics.median(runs)

    result = subprocess.run(
        [os.path.join(bench, "dispatch_bench"), "--benchmark_filter=BM_MonthViewRead$",
         "--benchmark_repetitions=5", "--benchmark_format=json"],
        check=True, capture_output=True, text=True)
    rows = json.loads(result.stdout)["benchmarks"]
    cpp_us = next(r["cpu_time"] for r in rows if r.get("aggregate_name") == "median")
    print(f"month view, {entries} entries, title and start of each: "
          f"Python {python_us:.0f} us, C++ {cpp_us:.0f} us, ratio {python_us / cpp_us:.2f}")


if __name__ == "__main__":
    main()
