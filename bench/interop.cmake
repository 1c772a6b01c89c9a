if(TARGET orncalendar_interop)
  orncal_bench(interop_bench interop_bench.cc)
  target_link_libraries(interop_bench PRIVATE orncalendar_interop)
endif()
