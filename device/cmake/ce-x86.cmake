# Windows CE on x86: mingw's compiler and linker.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CE_MACHINE x86)
# Callers keep the stack aligned to 4 bytes only. -fuse-cxa-atexit: without it static destructors land
# in .dtors, where nobody runs them.
set(CE_MACHINE_FLAGS -march=i486 -mpreferred-stack-boundary=2 -fuse-cxa-atexit)
