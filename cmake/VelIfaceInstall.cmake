include(CMakePackageConfigHelpers)

install(TARGETS mavcommon veliface EXPORT VelIfaceTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Public headers keep their folder layout: <mavcommon/X.h>, <veliface/sub/X.h>.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/mavcommon" "${PROJECT_SOURCE_DIR}/veliface"
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h"
        PATTERN "internal" EXCLUDE)

install(EXPORT VelIfaceTargets NAMESPACE veliface::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelIface)

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/VelIfaceConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/VelIfaceConfig.cmake"
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelIface)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VelIfaceConfigVersion.cmake"
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VelIfaceConfig.cmake"
              "${PROJECT_BINARY_DIR}/VelIfaceConfigVersion.cmake"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelIface)

file(RELATIVE_PATH VELIFACE_PC_PREFIX_REL "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" VELIFACE_PC_PREFIX_REL "${VELIFACE_PC_PREFIX_REL}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/veliface.pc.in"
               "${PROJECT_BINARY_DIR}/veliface.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/veliface.pc"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
