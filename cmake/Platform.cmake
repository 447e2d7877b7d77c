# Which libubox and libubus the program is linked with.
#
#   PLATFORM=system   the platform's own libraries; an error without them
#   PLATFORM=testbed  the testbed's stand-ins, for a machine that is not a router
#   PLATFORM=auto     system when it is there, else testbed (default)
#
# Result: PLATFORM_RESOLVED ("system" or "testbed"), the target platform::ubus to link with, and
# HAVE_ULOOP_SUPPORT_PARAMTIMER.

set(PLATFORM auto CACHE STRING "Platform libraries: auto, system or testbed")
set_property(CACHE PLATFORM PROPERTY STRINGS auto system testbed)
if(NOT PLATFORM MATCHES "^(auto|system|testbed)$")
  message(FATAL_ERROR "PLATFORM is \"${PLATFORM}\"; it must be auto, system or testbed.")
endif()

set(platform_found FALSE)
if(NOT PLATFORM STREQUAL "testbed")
  find_path(LIBUBOX_INCLUDE_DIR libubox/blobmsg.h)
  find_library(LIBUBOX_LIBRARY ubox)
  find_path(LIBUBUS_INCLUDE_DIR libubus.h)
  find_library(LIBUBUS_LIBRARY ubus)
  mark_as_advanced(LIBUBOX_INCLUDE_DIR LIBUBOX_LIBRARY LIBUBUS_INCLUDE_DIR LIBUBUS_LIBRARY)
  if(LIBUBOX_INCLUDE_DIR AND LIBUBOX_LIBRARY AND LIBUBUS_INCLUDE_DIR AND LIBUBUS_LIBRARY)
    set(platform_found TRUE)
  endif()
endif()

add_library(platform_ubus INTERFACE)
add_library(platform::ubus ALIAS platform_ubus)
if(platform_found)
  set(PLATFORM_RESOLVED system)
  set(platform_include_dirs ${LIBUBOX_INCLUDE_DIR} ${LIBUBUS_INCLUDE_DIR})
  target_include_directories(platform_ubus SYSTEM INTERFACE ${platform_include_dirs})
  target_link_libraries(platform_ubus INTERFACE ${LIBUBUS_LIBRARY} ${LIBUBOX_LIBRARY})
  message(STATUS "Platform libraries: system (${LIBUBUS_LIBRARY}, ${LIBUBOX_LIBRARY})")
elseif(PLATFORM STREQUAL "system")
  message(FATAL_ERROR
    "PLATFORM=system, but libubox and libubus were not found. Install both with their headers, "
    "name their place with CMAKE_PREFIX_PATH, or use PLATFORM=testbed.")
else()
  set(PLATFORM_RESOLVED testbed)
  set(platform_include_dirs ${CMAKE_SOURCE_DIR}/testbed/include)
  target_link_libraries(platform_ubus INTERFACE testbed_ubus)
  message(STATUS "Platform libraries: testbed (the stand-ins in testbed/)")
endif()

# A data symbol of some builds of libubox only. Compiled and not linked, because the testbed's
# libraries do not exist yet at this point.
include(CheckSymbolExists)
if(NOT "${platform_include_dirs}" STREQUAL "${PLATFORM_CHECKED_DIRS}")
  # The kept answer is that of other headers.
  unset(HAVE_ULOOP_SUPPORT_PARAMTIMER CACHE)
  set(PLATFORM_CHECKED_DIRS "${platform_include_dirs}" CACHE INTERNAL "Headers of the last check")
endif()
set(CMAKE_REQUIRED_INCLUDES ${platform_include_dirs})
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
check_symbol_exists(uloop_support_paramtimer "libubox/uloop.h" HAVE_ULOOP_SUPPORT_PARAMTIMER)
unset(CMAKE_TRY_COMPILE_TARGET_TYPE)
unset(CMAKE_REQUIRED_INCLUDES)
