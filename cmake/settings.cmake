# Warnings and build settings, as two INTERFACE targets that every room links.
add_library(orin_warnings INTERFACE)
target_compile_options(orin_warnings INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Wno-format-y2k -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Wundef)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  # No notes that GCC 7 changed how some types are passed: whatever is linked here is newer.
  target_compile_options(orin_warnings INTERFACE -Wno-psabi)
endif()
option(ORIN_WERROR "a warning fails the build" ON)
if(ORIN_WERROR)
  target_compile_options(orin_warnings INTERFACE -Werror)
endif()

add_library(orin_settings INTERFACE)
target_compile_definitions(orin_settings INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64)
# The code reports by result codes; an exception of the C++ library (out of memory in the account command) ends the process.
target_compile_options(orin_settings INTERFACE -ffunction-sections -fdata-sections)
target_link_options(orin_settings INTERFACE -Wl,--gc-sections -Wl,--as-needed)

option(ORIN_SANITIZE "AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
if(ORIN_SANITIZE)
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(orin_settings INTERFACE ${sanitizers})
  # The runtime is linked in, so that a preloaded library (the logger stand-in) may come first.
  target_link_options(orin_settings INTERFACE ${sanitizers} $<$<CXX_COMPILER_ID:GNU>:-static-libasan -static-libubsan>)
else()
  target_compile_options(orin_settings INTERFACE $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2 -fstack-protector-strong>)
endif()

find_program(CCACHE ccache)
if(CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
