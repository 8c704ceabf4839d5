# veliface_use_tool_deps(<target> [ASIO] [CLI11] [ASIO_SOURCES <file>...]): the third-party
# pieces the programs under tools/ share, found once and attached the same way everywhere.
# ASIO: standalone asio (header-only) and threads; CLI11: the command-line parser, as a CMake
# package when the system ships one, else as the bare header. ASIO_SOURCES: the files that
# instantiate asio's reactor (see below).
function(veliface_use_tool_deps target)
  cmake_parse_arguments(ARG "ASIO;CLI11" "" "ASIO_SOURCES" ${ARGN})
  if(ARG_ASIO_SOURCES AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12's optimiser reports a "potential null pointer dereference" inside asio's own
    # scheduler (a thread-local pointer that asio has checked on another path) in the
    # optimised build; the files that instantiate asio's reactor are exempt from that one
    # warning.
    set_source_files_properties(${ARG_ASIO_SOURCES} PROPERTIES COMPILE_OPTIONS -Wno-null-dereference)
  endif()
  if(ARG_ASIO)
    find_package(Threads REQUIRED)
    find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
    target_include_directories(${target} SYSTEM PRIVATE "${ASIO_INCLUDE_DIR}")
    target_compile_definitions(${target} PRIVATE ASIO_STANDALONE)
    target_link_libraries(${target} PRIVATE Threads::Threads)
  endif()
  if(ARG_CLI11)
    find_package(CLI11 CONFIG QUIET)
    if(TARGET CLI11::CLI11)
      target_link_libraries(${target} PRIVATE CLI11::CLI11)
    else()
      find_path(CLI11_INCLUDE_DIR CLI/CLI.hpp REQUIRED)
      target_include_directories(${target} SYSTEM PRIVATE "${CLI11_INCLUDE_DIR}")
    endif()
  endif()
endfunction()
