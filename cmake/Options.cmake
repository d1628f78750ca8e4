# What all targets share: language levels, warnings, sanitizers.
option(KOLN_BUILD_SIMULATOR "Build the simulated Notes runtime and koln-simulate" ON)
option(KOLN_BUILD_HOST "Build the reference host command koln" ON)
option(KOLN_BUILD_TESTS "Build the tests" ON)
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

# A library whose exports are chosen one by one and that must find everything it needs when linked.
function(koln_product_options target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(NOT KOLN_SANITIZE)  # a sanitizer's own symbols come from the executable
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
endfunction()
