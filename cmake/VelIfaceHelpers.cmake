# veliface_glob_sources(<out-var> <dir>): the library sources of one folder, without tests.
function(veliface_glob_sources out dir)
  file(GLOB _srcs CONFIGURE_DEPENDS "${dir}/*.cpp" "${dir}/internal/*.cpp")
  list(FILTER _srcs EXCLUDE REGEX "_test\\.cpp$")
  set(${out} ${_srcs} PARENT_SCOPE)
endfunction()

# veliface_add_test_dir(<name> <dir> [LIBS ...]): one GoogleTest program for every
# *_test.cpp file of a folder, registered with ctest test by test.
function(veliface_add_test_dir name dir)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  file(GLOB _tests CONFIGURE_DEPENDS "${dir}/*_test.cpp" "${dir}/internal/*_test.cpp")
  if(NOT _tests)
    return()
  endif()
  add_executable(${name} ${_tests})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} veliface_test_support GTest::gtest GTest::gtest_main)
  veliface_set_warnings(${name})
  # Suites named *StorageFault* inject file-system failures; they carry the label
  # `fault` (instead of `unit`) so that a reliability run can pick them with `ctest -L fault`.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
                       WORKING_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}"
                       TEST_FILTER "-*StorageFault*"
                       PROPERTIES LABELS unit)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
                       WORKING_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}"
                       TEST_FILTER "*StorageFault*"
                       PROPERTIES LABELS fault)
endfunction()

# veliface_add_python_test(<name> <script> [LABEL <label>] [TIMEOUT <s>] [ARGS ...]): a ctest
# test that runs a Python 3 script (label `unit`, 60 s by default). Nothing is registered
# when no Python 3 interpreter is found.
function(veliface_add_python_test name script)
  cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "ARGS" ${ARGN})
  if(NOT ARG_LABEL)
    set(ARG_LABEL unit)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    add_test(NAME ${name} COMMAND Python3::Interpreter "${script}" ${ARG_ARGS})
    set_tests_properties(${name} PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT})
  endif()
endfunction()
