# The examples' smoke test: add_appointments, this_week and poll_reminders on
# a fresh application-data folder DATA; each must end with status 0 and print
# the lines expected of it. EMULATOR runs the programs of a cross build.
# Where there is an event loop (LOOP) it runs for a second with the notifier
# NOTIFIER in a runtime folder of its own.
file(REMOVE_RECURSE "${DATA}")
file(MAKE_DIRECTORY "${DATA}")

include(${CMAKE_CURRENT_LIST_DIR}/example_checks.cmake)

run_example(added "${ADD}" "${DATA}")
expect("${added}" "added: (Project review|Team offsite|Standup), [A-Z][a-z][a-z] [0-9.]+ [0-9:]+ \\(stored as [0-9]+/[0-9]+\\)" 3)
expect("${added}" "saved" 1)

# Every working day of this week has its standup; today has the review and
# the offsite.
run_example(week "${WEEK}" "${DATA}")
expect("${week}" "This week, Mon [0-9.]+ to Sun [0-9.]+:" 1)
expect("${week}" "(Mon|Tue|Wed|Thu|Fri) [0-9.]+ 09:00-09:15  Standup" 5)
expect("${week}" "[A-Z][a-z][a-z] [0-9.]+ 14:00-15:00  Project review" 1)
expect("${week}" "[A-Z][a-z][a-z] [0-9.]+ all day      Team offsite \\(to [A-Z][a-z][a-z] [0-9.]+\\)" 1)

run_example(polled "${POLL}" --demo --every 2 --once "${DATA}")
expect("${polled}" "reminder: Coffee, starts " 1)

if(LOOP)
  file(MAKE_DIRECTORY "${DATA}/run")
  run_example(looped ${CMAKE_COMMAND} -E env "XDG_RUNTIME_DIR=${DATA}/run"
    "ORNCAL_NOTIFIER=${NOTIFIER}" ORNCAL_NOTIFIER_LINGER_MS=200
    "${LOOP}" --seconds 1 "${DATA}")
  expect("${looped}" "watching .*/Ornavel/Calendar/files" 1)
  expect("${looped}" "today: [0-9]+ appointment\\(s\\)" 1)
  expect("${looped}" "14:00-15:00  Project review" 1)
endif()
