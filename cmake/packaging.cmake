# What `cmake --install` puts where, and what `cpack` makes of it: the library with its header, the
# CMake package and the pkg-config file, and the programs, each a component of its own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

get_property(libraries GLOBAL PROPERTY quel_libraries)
install(TARGETS ${libraries} EXPORT quelcodec
  LIBRARY COMPONENT library NAMELINK_COMPONENT dev
  ARCHIVE COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quelcodec TYPE INCLUDE COMPONENT dev)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quelcodec)
install(EXPORT quelcodec NAMESPACE quelcodec:: DESTINATION ${package_dir} COMPONENT dev
  FILE quelcodec-targets.cmake)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/quelcodec-config.cmake.in
  ${PROJECT_BINARY_DIR}/quelcodec-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quelcodec-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quelcodec-config.cmake
              ${PROJECT_BINARY_DIR}/quelcodec-config-version.cmake
  DESTINATION ${package_dir} COMPONENT dev)

# Relative, since neither `cmake --install --prefix` nor cpack installs to the configured prefix.
file(RELATIVE_PATH prefix_from_pkgconfig
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/quelcodec.pc.in ${PROJECT_BINARY_DIR}/quelcodec.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quelcodec.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/README.md
  TYPE DOC COMPONENT library)

# Debian looks for each package's licence in a folder of the package's name. That it is a package
# that is being made, only the installation knows.
set(library_package libquelcodec${PROJECT_VERSION_MAJOR})
set(dev_package libquelcodec-dev)
set(tools_package quelcodec-tools)
set(packaged library dev)
if(QUELCODEC_TOOLS)
  list(APPEND packaged tools)
endif()
foreach(component ${packaged})
  install(CODE "
    if(CMAKE_INSTALL_PREFIX MATCHES \"/usr$\")
      file(INSTALL \"${PROJECT_SOURCE_DIR}/LICENSE\" RENAME copyright
        DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/doc/${${component}_package}\")
    endif()"
    COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The quelcodec authors <quelcodec@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${dev_package})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools_package})
set(CPACK_COMPONENTS_ALL ${packaged})
set(CPACK_COMPONENT_DEV_DEPENDS library)
set(CPACK_COMPONENT_TOOLS_DEPENDS library)
if(PROJECT_IS_TOP_LEVEL)
  include(CPack)
endif()
