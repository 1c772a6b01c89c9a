# Cross compiling for 64-bit Windows with Debian's mingw-w64 toolchain.
# The posix thread model is needed for std::mutex and std::thread. The
# runtime (libgcc, libstdc++, winpthread) is linked statically, so the
# library and the programs import only Windows system DLLs.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ORNCAL_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ORNCAL_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORNCAL_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${ORNCAL_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ORNCAL_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# -static makes the linker take winpthread from its archive as well.
set(ORNCAL_STATIC_RUNTIME "-static -static-libgcc -static-libstdc++")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${ORNCAL_STATIC_RUNTIME}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${ORNCAL_STATIC_RUNTIME}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${ORNCAL_STATIC_RUNTIME}")

# Test programs run under Wine; CTest puts this in front of each one.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
