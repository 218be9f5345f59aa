# What a client gets: library, headers, CMake package, pkg-config file. SQLite stays private.
include(CMakePackageConfigHelpers)

install(TARGETS nccnet EXPORT nccnetTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/nccnet DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/nccnet)
install(EXPORT nccnetTargets NAMESPACE nccnet:: DESTINATION ${package_dir})
configure_package_config_file(cmake/nccnetConfig.cmake.in nccnetConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(nccnetConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nccnetConfig.cmake
              ${PROJECT_BINARY_DIR}/nccnetConfigVersion.cmake
        DESTINATION ${package_dir})

# Relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH pc_prefix_from_file /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/nccnet.pc.in nccnet.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nccnet.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
