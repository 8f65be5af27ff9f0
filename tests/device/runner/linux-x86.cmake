# Linux on i386, which an amd64 kernel runs natively. Device libraries call back with a stack aligned to
# four bytes, hence the realignment.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(RUNNER_FLAGS -mstackrealign -msse2 -mfpmath=sse)
