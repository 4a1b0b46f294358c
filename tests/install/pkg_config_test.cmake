# Installs the built project into a scratch prefix, then builds the consumer with
# Make and the flags of the installed plinth_apple_device.pc, and runs it.
# Expects BUILD_DIR, MAKEFILE, WORK_DIR and CXX_COMPILER.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE result OUTPUT_QUIET)
if(result)
  message(FATAL_ERROR "install failed")
endif()
file(GLOB_RECURSE pc_files ${WORK_DIR}/prefix/*/plinth_apple_device.pc)
list(LENGTH pc_files found)
if(NOT found EQUAL 1)
  message(FATAL_ERROR "the install tree holds ${found} plinth_apple_device.pc: '${pc_files}'")
endif()
get_filename_component(pc_dir ${pc_files} DIRECTORY)

# The tree is moved after installing: the file finds its prefix from where it lies.
file(RENAME ${WORK_DIR}/prefix ${WORK_DIR}/moved)
string(REPLACE "${WORK_DIR}/prefix" "${WORK_DIR}/moved" pc_dir ${pc_dir})

find_program(make NAMES make gmake REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
execute_process(COMMAND ${make} -f ${MAKEFILE} OUT=${WORK_DIR}/consumer CXX=${CXX_COMPILER}
                RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "the consumer did not build with pkg-config's flags")
endif()
execute_process(COMMAND ${WORK_DIR}/consumer OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(result OR NOT output STREQUAL "Root\n")
  message(FATAL_ERROR "the consumer ran wrong: ${result} '${output}'")
endif()
