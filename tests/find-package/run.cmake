# Installs the built tree into a scratch prefix, then configures, builds and runs the
# consumer project against it. Called by ctest with -D BUILD_DIR, SOURCE_DIR, WORK_DIR,
# GENERATOR, CXX_COMPILER, CXX_FLAGS and LINKER_FLAGS (so that a sanitizer build links).
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${step} failed (${rc}):\n${out}")
  endif()
  message(STATUS "${step}: ok")
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(install "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

file(GLOB_RECURSE pc_files "${prefix}/*/pkgconfig/veliface.pc")
if(NOT pc_files)
  message(FATAL_ERROR "veliface.pc was not installed under ${prefix}")
endif()

run(configure "${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}"
    -DCMAKE_BUILD_TYPE=Debug)
run(build "${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run(consumer "${WORK_DIR}/build/consumer")
message(STATUS "${last_output}")
