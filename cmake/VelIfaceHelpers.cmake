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
