# Late-bound calls, and the tool that writes the calendar the Python timing
# script (python_month_view.py) reads.
orncal_bench(dispatch_bench dispatch_bench.cc)
add_executable(calendar_folder calendar_folder.cc)
target_link_libraries(calendar_folder PRIVATE orncalendar_internal)
