# The notifier needs the socket transport (not on Windows yet).
if(TARGET OrnCalNtf)
  orncal_bench(notifier_bench notifier_bench.cc)
  add_dependencies(notifier_bench OrnCalNtf)
  target_compile_definitions(notifier_bench PRIVATE
    ORNCAL_NOTIFIER_PROGRAM="$<TARGET_FILE:OrnCalNtf>")
endif()
