# One warning list for every target we build; applied PRIVATE so that consumers of the
# installed package never inherit it.
set(VELIFACE_WARNING_FLAGS
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Woverloaded-virtual -Wnull-dereference -Wformat=2)

function(veliface_set_warnings target)
  target_compile_options(${target} PRIVATE ${VELIFACE_WARNING_FLAGS})
  if(VELIFACE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
