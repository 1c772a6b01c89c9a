orncal_bench(tasks_bench tasks_bench.cc)
