# veliface_use_tool_deps(<target> [ASIO] [CLI11]): the third-party pieces the programs under
# tools/ share, found once and attached the same way everywhere. ASIO: standalone asio
# (header-only) and threads; CLI11: the command-line parser, as a CMake package when the
# system ships one, else as the bare header.
function(veliface_use_tool_deps target)
  cmake_parse_arguments(ARG "ASIO;CLI11" "" "" ${ARGN})
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
