# The PBX's processor: 32-bit ARM with hardware floating point, built by Debian's cross compiler against a sysroot of
# Debian's own armhf packages, which script/cross lays out.
#
# The cross compiler brings a C and C++ library of its own, which is not always the version that the sysroot's libraries
# were built with. It would take its own first, so it is told where to look: headers, start files and libraries all come
# from the sysroot, only the compiler itself from the machine.
#
# time_t has the width that is the platform's own, 32 bits on Debian 12: OpenSSL, libcurl and cpp-httplib take and hold
# time_t in their interfaces, so that a program with another width could not be linked to them. Where the distribution
# has gone over to 64 bits, compiler and libraries have done so together and nothing is to be set here.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++-12)
cmake_path(SET CMAKE_SYSROOT NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armhf)
if(DEFINED ENV{ORIN_SYSROOT})  # script/package compiles against what it has installed
  set(CMAKE_SYSROOT $ENV{ORIN_SYSROOT})
endif()
if(NOT EXISTS ${CMAKE_SYSROOT})
  message(FATAL_ERROR "no sysroot yet: script/cross --sysroot makes it")
endif()

set(CMAKE_CXX_FLAGS_INIT "-nostdinc -nostdinc++")
foreach(folder
    include/c++/12 include/arm-linux-gnueabihf/c++/12 include/c++/12/backward
    lib/gcc/arm-linux-gnueabihf/12/include include/arm-linux-gnueabihf include)
  string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${CMAKE_SYSROOT}/usr/${folder}")
endforeach()
set(link_flags "")
foreach(folder usr/lib/gcc/arm-linux-gnueabihf/12 usr/lib/arm-linux-gnueabihf lib/arm-linux-gnueabihf)
  string(APPEND link_flags " -B${CMAKE_SYSROOT}/${folder}/")
endforeach()
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "${link_flags}")
endforeach()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
