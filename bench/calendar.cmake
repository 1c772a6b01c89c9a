orncal_bench(calendar_bench calendar_bench.cc)
