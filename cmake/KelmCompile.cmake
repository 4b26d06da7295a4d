# Compiler settings shared by every target of the project.

# Texts are written in UTF-8 and are Windows-1251 at run time.
set(KELM_CHARSET_OPTIONS -finput-charset=UTF-8 -fexec-charset=CP1251)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # clang compiles to UTF-8 only: a launcher converts each source instead.
  set(KELM_CHARSET_OPTIONS "")
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_SOURCE_DIR}/cmake/clang-cp1251)
endif()

add_compile_options(-Wall -Wextra)
# The crash-dump handler resumes a faulting thread in code that throws; the
# unwinder needs tables for every instruction to get out of it.
add_compile_options(-fnon-call-exceptions -fasynchronous-unwind-tables)

if(WIN32)
  # Exceptions cross the DLL boundary: every module must share one GCC runtime.
  add_link_options(-shared-libgcc)
  add_compile_definitions(WIN32_LEAN_AND_MEAN NOMINMAX)
endif()

if(KELM_SANITIZE AND NOT WIN32)
  add_compile_options(-fsanitize=${KELM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KELM_SANITIZE})
endif()

if(KELM_BUILD_FUZZ)
  # Coverage for libFuzzer in every module; the fuzz targets link the fuzzer.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# kelm_sources(<out-var> <dir>): the library sources of one area (and of its
# internal/ folder), with the other platform's *_win.cpp / *_posix.cpp and
# the tests left out.
function(kelm_sources out dir)
  file(GLOB all CONFIGURE_DEPENDS ${dir}/*.cpp ${dir}/*.c ${dir}/internal/*.cpp)
  list(FILTER all EXCLUDE REGEX "_test\\.cpp$")
  if(WIN32)
    list(FILTER all EXCLUDE REGEX "_posix\\.cpp$")
  else()
    list(FILTER all EXCLUDE REGEX "_win\\.cpp$")
  endif()
  set(${out} ${all} PARENT_SCOPE)
endfunction()

# A hung test fails after this many seconds instead of stalling the run.
set(KELM_TEST_TIMEOUT 300 CACHE STRING "Time limit of each test, in seconds")

# kelm_add_area_tests(<area>): one test program per area, made of every
# kelm/<area>/*_test.cpp. Extra sources and libraries may follow.
function(kelm_add_area_tests area)
  cmake_parse_arguments(ARG "" "DIR" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_DIR)
    set(ARG_DIR ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  file(GLOB tests CONFIGURE_DEPENDS ${ARG_DIR}/*_test.cpp)
  if(WIN32)
    list(FILTER tests EXCLUDE REGEX "_posix_test\\.cpp$")
  else()
    list(FILTER tests EXCLUDE REGEX "_win_test\\.cpp$")
  endif()
  if(NOT tests)
    return()
  endif()
  set(target ${area}_test)
  add_executable(${target} ${tests} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE kelm GTest::gtest GTest::gtest_main ${ARG_LIBS})
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  if(CMAKE_CROSSCOMPILING)
    # One Wine process per program: starting Wine per test case would cost
    # more than the tests themselves.
    add_test(NAME ${area} COMMAND ${target})
    set_tests_properties(${area} PROPERTIES LABELS ${area} TIMEOUT ${KELM_TEST_TIMEOUT})
  else()
    include(GoogleTest)
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                         PROPERTIES LABELS ${area} TIMEOUT ${KELM_TEST_TIMEOUT})
  endif()
endfunction()
