# Installs the built project into a scratch prefix, checks that its LICENSE came
# along, then configures, builds and runs a consumer that finds it with
# find_package(plinth_apple_device).
# Expects BUILD_DIR, SOURCE_DIR, WORK_DIR and CXX_COMPILER.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE result OUTPUT_QUIET)
if(result)
  message(FATAL_ERROR "install failed")
endif()
if(NOT EXISTS ${WORK_DIR}/prefix/share/doc/plinth_apple/LICENSE)
  message(FATAL_ERROR "the install tree holds no share/doc/plinth_apple/LICENSE")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build
                        -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
                        "-DCMAKE_BUILD_RPATH=${WORK_DIR}/prefix/lib"
                RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "find_package(plinth_apple_device) failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "the consumer did not build")
endif()
execute_process(COMMAND ${WORK_DIR}/build/consumer OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(result OR NOT output STREQUAL "Root\n")
  message(FATAL_ERROR "the consumer ran wrong: ${result} '${output}'")
endif()
