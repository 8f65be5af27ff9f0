# Flags and target helpers shared by all folders.
include_guard(GLOBAL)
include(GoogleTest)
include(VersionResource)

add_library(wkt_flags INTERFACE)
target_include_directories(wkt_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(wkt_flags INTERFACE
  -Wall -Wextra -Werror -Wconversion -Wshadow -Wpedantic -Wno-missing-field-initializers
  # Warnings are judged in GCC's builds; clang makes the fuzzing programs only and has others.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-error>)

if(WKT_SANITIZE)
  # GCC sees uninitialised members in library code (std::regex) that only the sanitizers' own
  # instructions touch.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
                      $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  # Device code has no run-time types, which the check of virtual tables asks for.
  add_compile_options(-fno-sanitize=vptr)
  add_link_options(-fsanitize=address,undefined)
endif()

if(WKT_FUZZ)
  # Branches are counted everywhere, not only in the fuzzing programs' own sources.
  add_compile_options(-fsanitize=fuzzer-no-link)
  # Compared values are not told to it: most comparisons are the sanitizers' own checks, which took a
  # third of the time. The stored inputs and the dictionaries have the words that inputs are made of.
  add_compile_options(-fno-sanitize-coverage=trace-cmp)
endif()

# Code that also runs on a device: no exceptions, no run-time types, nothing exported unless named.
add_library(wkt_device_flags INTERFACE)
target_link_libraries(wkt_device_flags INTERFACE wkt_flags)
target_compile_options(wkt_device_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>
  -fvisibility=hidden)

if(WKT_COVERAGE)
  # Not optimised, so that each branch of the source stays one. All else is compiled as in the normal build and comes
  # from its cache.
  target_compile_options(wkt_device_flags INTERFACE --coverage -O0)
  add_link_options(--coverage)
endif()

# For programs whose own code is not what takes time: optimising it after the sanitizers have put in
# their checks doubles the time of their compilation and shortens their runs by nothing.
function(wkt_compile_quickly name)
  if(WKT_SANITIZE)
    target_compile_options(${name} PRIVATE -O0)
  endif()
endfunction()

# A test's own code is not what takes its time. All of it is compiled alike, as precompiled headers want it: as the
# compiler makes programs when nothing is said, libraries of tests, too.
function(wkt_test_options name)
  target_compile_options(${name} PRIVATE -O0)
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
endfunction()

# Most of what a test's compilation reads is GoogleTest's header, so that is read once for all of them. A test still
# includes what it uses: `./dev lint` reads it without this.
function(wkt_precompile_test_headers name)
  if(NOT TARGET test_headers)
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/generated/test_headers.cpp" CONTENT "")
    add_library(test_headers OBJECT "${CMAKE_BINARY_DIR}/generated/test_headers.cpp")
    target_link_libraries(test_headers PRIVATE wkt_flags GTest::gtest)
    wkt_test_options(test_headers)
    # And no other: GCC takes as long to load nlohmann's as to read it.
    target_precompile_headers(test_headers PRIVATE <gtest/gtest.h>)
  endif()
  wkt_test_options(${name})
  target_precompile_headers(${name} REUSE_FROM test_headers)
endfunction()

# Every .cpp of the calling folder, tests not among them.
function(wkt_sources out)
  file(GLOB found CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  set(${out} ${found} PARENT_SCOPE)
endfunction()

# wkt_library(name STATIC|SHARED [DEVICE] [LIBS ...]): a library of all sources of the folder.
function(wkt_library name kind)
  cmake_parse_arguments(ARG "DEVICE" "" "LIBS;SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    wkt_sources(ARG_SOURCES)
  endif()
  add_library(${name} ${kind} ${ARG_SOURCES})
  if(ARG_DEVICE)
    target_link_libraries(${name} PRIVATE wkt_device_flags)
  else()
    target_link_libraries(${name} PRIVATE wkt_flags)
  endif()
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PUBLIC ${ARG_LIBS})
endfunction()

# wkt_test(name [LIBS ...] [SOURCES ...] [ENVIRONMENT NAME=VALUE ...]): a GoogleTest program of the folder's sources, one ctest
# entry per test. Each entry is its own process, so process-wide state never leaks between tests.
function(wkt_test name)
  cmake_parse_arguments(ARG "" "" "LIBS;SOURCES;ENVIRONMENT" ${ARGN})
  if(NOT ARG_SOURCES)
    wkt_sources(ARG_SOURCES)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE wkt_flags ${ARG_LIBS} GTest::gtest_main)
  wkt_precompile_test_headers(${name})
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST
                       PROPERTIES TIMEOUT 300 ENVIRONMENT "${ARG_ENVIRONMENT}")
endfunction()
