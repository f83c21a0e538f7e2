# How the programs of a cross build are run on the machine that builds them (preset armhf): bin/NAME is a launcher that
# hands the real program, bin/NAME.target beside it, to the emulator. Whoever starts a program of ours by its name, or
# as the neighbour of the running one, starts the launcher, and no program needs to know.
set(ORIN_EMULATOR "" CACHE STRING "the emulator that runs the programs of a cross build; empty: they are not run here")

# The files that the emulator shows a program in place of the machine's own: the libraries of the target, and what these
# are to preload, the stand-in of the logger device and a help for the emulator itself. (LD_PRELOAD would reach the
# machine's programs too, which ours may start.)
if(ORIN_EMULATOR)
  find_program(ORIN_EMULATOR_PROGRAM ${ORIN_EMULATOR} REQUIRED)
  set(emulated_root ${CMAKE_BINARY_DIR}/emulated_root)
  file(MAKE_DIRECTORY ${emulated_root} ${CMAKE_BINARY_DIR}/emulator)
  foreach(folder lib usr)
    file(CREATE_LINK ${CMAKE_SYSROOT}/${folder} ${emulated_root}/${folder} SYMBOLIC)
  endforeach()
  file(GENERATE OUTPUT ${emulated_root}/etc/ld.so.preload
    CONTENT "$<TARGET_FILE:logger_device>\n$<TARGET_FILE:emulated_spawn>\n")
  # Not where the sandbox looks for a logger device to preload.
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${emulated_root})
endif()

# orin_launcher(name): the launcher of a program. It becomes the emulator, under the program's name, so that signals,
# exit status and what the kernel tells of a process are as the program's own.
function(orin_launcher name)
  set_target_properties(${name} PROPERTIES SUFFIX .target)
  file(CREATE_LINK ${ORIN_EMULATOR_PROGRAM} ${CMAKE_BINARY_DIR}/emulator/${name} SYMBOLIC)
  string(CONCAT start "exec '${CMAKE_BINARY_DIR}/emulator/${name}' -L '${emulated_root}' -0 \"$0\""
    " '$<TARGET_FILE:${name}>' \"$@\"")
  file(GENERATE OUTPUT ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name} CONTENT "#!/bin/sh\n${start}\n"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()
