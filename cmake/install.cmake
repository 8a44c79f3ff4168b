# The library, its headers and the tool; Qorv::qorv for find_package(Qorv), and qorv for pkg-config.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(qorv_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Qorv)

install(TARGETS tolk RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS qorv EXPORT QorvTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/utilitis/include/qorv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT QorvTargets NAMESPACE Qorv:: DESTINATION ${qorv_package_folder})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QorvConfig.cmake.in ${PROJECT_BINARY_DIR}/QorvConfig.cmake
  INSTALL_DESTINATION ${qorv_package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QorvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QorvConfig.cmake ${PROJECT_BINARY_DIR}/QorvConfigVersion.cmake
  DESTINATION ${qorv_package_folder})

# Relative to the file itself, so that the installed tree can be moved.
set(qorv_pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH qorv_pc_to_prefix ${CMAKE_INSTALL_PREFIX}/${qorv_pc_folder} ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/qorv.pc.in ${PROJECT_BINARY_DIR}/qorv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qorv.pc DESTINATION ${qorv_pc_folder})
