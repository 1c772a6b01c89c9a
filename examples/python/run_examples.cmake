# The Python examples' smoke test: the C++ add_appointments fills a fresh
# application-data folder DATA, then this_week.py and reminders.py must end
# with status 0 and print what is expected of them.
file(REMOVE_RECURSE "${DATA}")
file(MAKE_DIRECTORY "${DATA}")
set(ENV{PYTHONPATH} "${PYTHONPATH}")

include(${CMAKE_CURRENT_LIST_DIR}/../example_checks.cmake)

run_example(added "${ADD}" "${DATA}")
run_example(week "${PYTHON}" "${EXAMPLES}/this_week.py" "${DATA}")
expect("${week}" "This week, Mon [0-9.]+ to Sun [0-9.]+:" 1)
expect("${week}" "(Mon|Tue|Wed|Thu|Fri) [0-9.]+ 09:00-09:15  Standup" 5)
expect("${week}" "[A-Z][a-z][a-z] [0-9.]+ 14:00-15:00  Project review" 1)
expect("${week}" "[A-Z][a-z][a-z] [0-9.]+ all day      Team offsite \\(to [A-Z][a-z][a-z] [0-9.]+\\)" 1)

# The reminders wait on the notifier (the package's own, in a runtime
# folder of their own).
file(MAKE_DIRECTORY "${DATA}/run")
run_example(polled ${CMAKE_COMMAND} -E env --unset=ORNCAL_NOTIFIER "XDG_RUNTIME_DIR=${DATA}/run"
  ORNCAL_NOTIFIER_LINGER_MS=200 "${PYTHON}" "${EXAMPLES}/reminders.py" --demo --every 2 --once
  "${DATA}")
expect("${polled}" "reminder: Coffee, starts " 1)
