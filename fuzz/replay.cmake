# Every fuzzer's entry point, replayed without the fuzzing engine over its
# seed corpus and seeded mutations of it (replay_main.cc): a short fuzz run
# in the sanitizer build of the test suites, with any compiler. The
# allocation bounds need the sanitizers' hooks, so only that build has them.
set(fuzz_dir ${PROJECT_SOURCE_DIR}/fuzz)
add_library(orncal_fuzz_replay OBJECT ${fuzz_dir}/replay_main.cc
  ${PROJECT_SOURCE_DIR}/tests/support/memory_file_system.cc)
target_include_directories(orncal_fuzz_replay PUBLIC ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(orncal_fuzz_replay PUBLIC orncalendar_internal orncalendar)

# replay_<name>: the fuzzer <name>_fuzz over fuzz/corpus/<name>, each seed
# and `mutations` mutations of it.
function(orncal_fuzz_replay name mutations)
  add_executable(replay_${name} ${fuzz_dir}/${name}_fuzz.cc ${ARGN})
  target_link_libraries(replay_${name} PRIVATE orncal_fuzz_replay)
  add_test(NAME replay_${name}
    COMMAND replay_${name} --mutations ${mutations} --seed 2026 ${fuzz_dir}/corpus/${name}
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  set_tests_properties(replay_${name} PROPERTIES LABELS fuzz ENVIRONMENT ORNCAL_NOTIFIER=off)
endfunction()

orncal_fuzz_replay(month_file 3000)
orncal_fuzz_replay(task_file 3000)
orncal_fuzz_replay(categor_ini 1000)
orncal_fuzz_replay(remind_times_file 1000)
orncal_fuzz_replay(calendar_script 100)
orncal_fuzz_replay(notifier_frames 3000 ${PROJECT_SOURCE_DIR}/tools/notifier/relay.cc)
target_include_directories(replay_notifier_frames PRIVATE ${PROJECT_SOURCE_DIR}/tools/notifier)
if(TARGET orncal_cli)
  orncal_fuzz_replay(orncal_arguments 1000)
  target_link_libraries(replay_orncal_arguments PRIVATE orncal_cli)
endif()
