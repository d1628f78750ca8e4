# What all targets share: language levels, warnings, sanitizers, coverage.
option(KOLN_BUILD_SIMULATOR "Build the simulated Notes runtime and koln-simulate" ON)
option(KOLN_BUILD_HOST "Build the reference host command koln" ON)
option(KOLN_BUILD_TESTS "Build the tests" ON)
option(KOLN_BUILD_BENCHMARKS "Build koln-bench, which compares with hand-written calls" OFF)
option(KOLN_BUILD_FUZZERS "Build the fuzzers; needs clang++" OFF)
option(KOLN_COVERAGE "Count in libkoln.so which lines and branches are run; needs g++" OFF)
set(KOLN_SANITIZE "" CACHE STRING "Sanitizers to build with, as in -fsanitize=")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

find_program(KOLN_CCACHE ccache)
if(KOLN_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KOLN_CCACHE})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O3, g++ 12 sees overlaps in std::string's own operator+ that are not there.
  add_compile_options(-Wno-restrict)
endif()
if(KOLN_SANITIZE)
  add_compile_options(-fsanitize=${KOLN_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KOLN_SANITIZE})
endif()

if(KOLN_COVERAGE AND NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  message(FATAL_ERROR "KOLN_COVERAGE needs g++")
endif()

# Everything tells the fuzzers which branches it has taken. What is no fuzzer runs as before: the
# runtime of a sanitizer has functions of the same names that do nothing.
if(KOLN_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang OR NOT KOLN_SANITIZE MATCHES address)
    message(FATAL_ERROR "KOLN_BUILD_FUZZERS needs clang++ and KOLN_SANITIZE=address,undefined")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Hardening, for everything that is built; tests/check-hardening looks at the results.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
add_compile_options(-fstack-protector-strong)
if(NOT KOLN_SANITIZE)  # Needs an optimising build, and hides calls from a sanitizer.
  add_compile_options("$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack,-z,text)

# A library whose exports are chosen one by one and that must find everything it needs when linked.
function(koln_product_options target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(NOT KOLN_SANITIZE)  # a sanitizer's own symbols come from the executable
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  if(KOLN_COVERAGE AND target STREQUAL koln)
    # Threads share the counters.
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    # A process that ends with _exit writes them itself: by __gcov_dump, which must be there to be
    # called and to be exported.
    target_link_options(${target} PRIVATE --coverage -Wl,--undefined=__gcov_dump)
  endif()
endfunction()
