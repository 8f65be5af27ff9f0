# Windows CE on ARM: Debian's bare-metal compiler makes ELF, elf2ce.py makes the library of it.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-none-eabi-g++)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CE_MACHINE arm)
# ARMv4 without Thumb is what a StrongARM understands. The compiler's own choices of one-byte enums,
# 32-bit wchar_t and unsigned char differ from what Windows CE expects.
set(CE_MACHINE_FLAGS -march=armv4 -marm -mfloat-abi=soft -fno-short-enums -fshort-wchar -fsigned-char)
