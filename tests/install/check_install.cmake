# Installs the built library into a fresh prefix, then builds and runs a small consumer against
# it twice: once through find_package(platform), once through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(mode cmake pkgconfig)
  set(bin ${WORK_DIR}/consumer-${mode})
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${bin} -DCONSUME_WITH=${mode}
      -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
  run(${CMAKE_COMMAND} --build ${bin})
  execute_process(COMMAND ${bin}/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
  if(NOT rc EQUAL 0 OR NOT out MATCHES "^CAF 4")
    message(FATAL_ERROR "consumer (${mode}) failed: rc=${rc} output=${out}")
  endif()
  message(STATUS "consumer via ${mode}: ${out}")
endforeach()
