# The recurrence expansion, measured beside libical's recurrence iterator on
# the same rules. libical is a benchmark-only dependency, found with
# pkg-config (scripts/install-deps.sh bench installs both).
find_package(PkgConfig REQUIRED)
pkg_check_modules(LIBICAL REQUIRED IMPORTED_TARGET libical)
orncal_bench(recurrence_bench recurrence_bench.cc)
target_link_libraries(recurrence_bench PRIVATE PkgConfig::LIBICAL)
