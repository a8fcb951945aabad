# Installs the build into a fresh prefix, configures and builds the outside
# application against it, and runs the application.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${APP_SOURCE_DIR} -B ${WORK_DIR}/app -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/app)
run(${WORK_DIR}/app/outside_app)
message(STATUS "${last_output}")
if(NOT last_output MATCHES "outside application: ok")
  message(FATAL_ERROR "unexpected output: ${last_output}")
endif()
