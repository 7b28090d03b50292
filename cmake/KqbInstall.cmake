# The installation tree is an installation home: bin, lib, include, etc, share.
include(CMakePackageConfigHelpers)

install(TARGETS kqb EXPORT kqbTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/kqb" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The pieces of the platform that value types compile in; found from their own folder.
install(FILES "${PROJECT_SOURCE_DIR}/platform/kqatom.h" "${PROJECT_SOURCE_DIR}/platform/decsext.h"
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kqb/platform)

install(EXPORT kqbTargets NAMESPACE kqb:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kqb)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/kqbConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/kqbConfig.cmake"
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kqb)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/kqbConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/kqbConfig.cmake" "${PROJECT_BINARY_DIR}/kqbConfigVersion.cmake"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kqb)

configure_file("${PROJECT_SOURCE_DIR}/cmake/kqb.pc.in" "${PROJECT_BINARY_DIR}/kqb.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/kqb.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
