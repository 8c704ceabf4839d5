# The library's layers. Each is an object library built from its folders' sources and
# compiled against an include tree of its own: its folders whole, and the public headers (no
# internal/) of the layers it may use, directly or through them, plus the platform layer.
# An include against the layer order names a header that is not in the tree, so it does not
# build. The objects of every layer make up the one `veliface` library a host links.

# veliface_layer(<name> DIRS <folder>... [USES <layer>...])
function(veliface_layer name)
  cmake_parse_arguments(ARG "" "" "DIRS;USES" ${ARGN})
  set(tree "${PROJECT_BINARY_DIR}/layers/${name}")
  file(REMOVE_RECURSE "${tree}")
  file(MAKE_DIRECTORY "${tree}/veliface")
  file(CREATE_LINK "${PROJECT_SOURCE_DIR}/mavcommon" "${tree}/mavcommon" SYMBOLIC)

  set(sources)
  foreach(dir IN LISTS ARG_DIRS)
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/veliface/${dir}" "${tree}/veliface/${dir}" SYMBOLIC)
    veliface_glob_sources(_s "${PROJECT_SOURCE_DIR}/veliface/${dir}")
    list(APPEND sources ${_s})
  endforeach()

  set(closure)
  foreach(use IN LISTS ARG_USES)
    if(NOT DEFINED VELIFACE_LAYER_${use}_DIRS)
      message(FATAL_ERROR "layer ${name} uses ${use}, which is not defined below it")
    endif()
    list(APPEND closure ${use} ${VELIFACE_LAYER_${use}_CLOSURE})
  endforeach()
  list(REMOVE_DUPLICATES closure)
  foreach(use IN LISTS closure)
    foreach(dir IN LISTS VELIFACE_LAYER_${use}_DIRS)
      file(MAKE_DIRECTORY "${tree}/veliface/${dir}")
      file(GLOB _headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/veliface/${dir}/*.h")
      foreach(h IN LISTS _headers)
        get_filename_component(_n "${h}" NAME)
        file(CREATE_LINK "${h}" "${tree}/veliface/${dir}/${_n}" SYMBOLIC)
      endforeach()
    endforeach()
  endforeach()

  add_library(veliface_${name} OBJECT ${sources})
  target_include_directories(veliface_${name} PRIVATE "${tree}")
  target_compile_features(veliface_${name} PRIVATE cxx_std_17)
  set_target_properties(veliface_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  veliface_set_warnings(veliface_${name})

  set(VELIFACE_LAYER_${name}_DIRS ${ARG_DIRS} PARENT_SCOPE)
  set(VELIFACE_LAYER_${name}_CLOSURE ${closure} PARENT_SCOPE)
  set(VELIFACE_LAYERS ${VELIFACE_LAYERS} ${name} PARENT_SCOPE)
endfunction()
