# Compile options of everything in the tree: warnings, the router's shape of a release build, and
# the sanitizers.

add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2 -Wundef
  # The C files of the tree are what is loaded into the save and restore tools.
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # False on every `"literal" + std::string` in optimised code.
  add_compile_options(-Wno-restrict)
endif()
if(WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()

if(SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  # A program that links the shared runtime refuses to start if another library is preloaded, as on
  # the router; with the static runtime it starts. Clang links it statically by itself.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_link_options(-static-libasan -static-libubsan)
  endif()
endif()

if(BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The counters are those of the product's files, its headers in the tests included.
if(COVERAGE)
  add_compile_options(
    "$<$<COMPILE_LANGUAGE:CXX>:--coverage>"
    "$<$<COMPILE_LANGUAGE:CXX>:-fprofile-filter-files=^${CMAKE_SOURCE_DIR}/(firewall_cpp|inspect|ipt_compiler|wrt_cppwrap)/>")
  set(is_program "$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>")
  add_link_options("$<${is_program}:--coverage>"
                   "$<${is_program}:LINKER:--undefined=dumpCountersOnAbort>")
  add_library(coverage_dump STATIC tests/support/coverage_dump.c)
  link_libraries("$<${is_program}:coverage_dump>")
endif()

# A router's flash is small: unused sections go, sections are not padded to pages, and no symbol is
# kept that nobody looks up.
add_compile_options($<$<CONFIG:Release>:-ffunction-sections> $<$<CONFIG:Release>:-fdata-sections>)
add_link_options($<$<CONFIG:Release>:-Wl,--gc-sections> $<$<CONFIG:Release>:-s>)
include(CheckLinkerFlag)
check_linker_flag(CXX -Wl,-z,noseparate-code CAN_JOIN_SEGMENTS)  # not every linker knows it
if(CAN_JOIN_SEGMENTS)
  add_link_options($<$<CONFIG:Release>:-Wl,-z,noseparate-code>)
endif()
# Looked at as a whole, the program becomes an eighth smaller. Tests link its parts many times.
include(CheckIPOSupported)
check_ipo_supported(RESULT is_ipo_supported OUTPUT ipo_error LANGUAGES CXX)
if(is_ipo_supported AND NOT BUILD_TESTING)
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
endif()
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
