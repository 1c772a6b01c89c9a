# The installed package: the CMake package orncalendar (its targets and the
# files find_package reads) and the pkg-config file orncalendar.pc.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orncalendar)
install(EXPORT orncalendarTargets
  NAMESPACE orncalendar::
  DESTINATION ${package_dir})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/orncalendarConfig.cmake.in
  ${PROJECT_BINARY_DIR}/orncalendarConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orncalendarConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/orncalendarConfig.cmake
  ${PROJECT_BINARY_DIR}/orncalendarConfigVersion.cmake
  DESTINATION ${package_dir})

# The pkg-config file names the prefix it is installed under, which
# `cmake --install --prefix` may change after configuring: the prefix is
# filled in when installing.
set(pc_libs_private "")
foreach(lib ${ORNCAL_PLATFORM_LIBS})
  string(APPEND pc_libs_private " -l${lib}")
endforeach()
set(pc_prefix "@CMAKE_INSTALL_PREFIX@")
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(pc_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/orncalendar.pc.in
  ${PROJECT_BINARY_DIR}/orncalendar.pc.in @ONLY)
install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/orncalendar.pc.in\"
                             \"${PROJECT_BINARY_DIR}/orncalendar.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/orncalendar.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
