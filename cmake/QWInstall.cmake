# The installed package: headers and libraries, a CMake package with a component for each floor, a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/QWAdditions)
set(QW_LINK_FLAGS "")
foreach(floor ${QW_FLOORS})
  install(TARGETS qw_${floor} EXPORT QWAdditionsTargets
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QWAdditions)
  string(PREPEND QW_LINK_FLAGS "-lqw_${floor} ")
endforeach()
if(BUILD_SHARED_LIBS)
  install(TARGETS qw_library EXPORT QWAdditionsTargets)
  set(QW_LINK_FLAGS -lQWAdditions)
else()
  string(APPEND QW_LINK_FLAGS -ldate-tz)
endif()
install(TARGETS QWAdditions EXPORT QWAdditionsTargets)
install(EXPORT QWAdditionsTargets NAMESPACE QWAdditions:: DESTINATION ${package})

list(JOIN QW_FLOORS ", " QW_COMPONENT_NAMES)
configure_package_config_file(cmake/QWAdditionsConfig.cmake.in QWAdditionsConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(QWAdditionsConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES cmake/QWDependencies.cmake ${PROJECT_BINARY_DIR}/QWAdditionsConfig.cmake
  ${PROJECT_BINARY_DIR}/QWAdditionsConfigVersion.cmake DESTINATION ${package})

# A program that links static libraries needs what they use privately, too.
set(QW_REQUIRES glib-2.0 icu-i18n icu-uc sqlite3 fmt)
set(QW_PRIVATE_REQUIRES cairo pangocairo libjpeg libzip zlib)
if(NOT BUILD_SHARED_LIBS)
  list(APPEND QW_REQUIRES ${QW_PRIVATE_REQUIRES})
endif()
list(JOIN QW_REQUIRES " " QW_REQUIRES)
list(JOIN QW_PRIVATE_REQUIRES " " QW_PRIVATE_REQUIRES)
file(RELATIVE_PATH QW_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/qwadditions.pc.in qwadditions.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qwadditions.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
