# What `cmake --install` puts where: the library with its headers, the CMake package, the pkg-config
# file and the pages, and the programs, each a component of its own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# quel_install_library(<prefix> <library folder> <folder of pages> [EXCLUDE_FROM_ALL]): as the components
# <prefix>library and <prefix>dev.
function(quel_install_library prefix library_dir doc_dir)
  get_property(libraries GLOBAL PROPERTY quel_libraries)
  install(TARGETS ${libraries} EXPORT ${prefix}quelcodec
    LIBRARY DESTINATION ${library_dir} COMPONENT ${prefix}library NAMELINK_COMPONENT ${prefix}dev ${ARGN}
    ARCHIVE DESTINATION ${library_dir} COMPONENT ${prefix}dev ${ARGN})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quelcodec TYPE INCLUDE
    COMPONENT ${prefix}dev ${ARGN})

  set(package_dir ${library_dir}/cmake/quelcodec)
  set(generated ${PROJECT_BINARY_DIR}/${prefix}package)
  install(EXPORT ${prefix}quelcodec NAMESPACE quelcodec:: DESTINATION ${package_dir}
    FILE quelcodec-targets.cmake COMPONENT ${prefix}dev ${ARGN})
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/quelcodec-config.cmake.in
    ${generated}/quelcodec-config.cmake INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${generated}/quelcodec-config-version.cmake
    COMPATIBILITY SameMinorVersion)
  install(FILES ${generated}/quelcodec-config.cmake ${generated}/quelcodec-config-version.cmake
    DESTINATION ${package_dir} COMPONENT ${prefix}dev ${ARGN})

  # Relative, since neither `cmake --install --prefix` nor cpack installs to the configured prefix.
  cmake_path(ABSOLUTE_PATH library_dir BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} NORMALIZE
    OUTPUT_VARIABLE full_library_dir)
  file(RELATIVE_PATH prefix_from_pkgconfig ${full_library_dir}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/quelcodec.pc.in ${generated}/quelcodec.pc @ONLY)
  install(FILES ${generated}/quelcodec.pc
    DESTINATION ${library_dir}/pkgconfig COMPONENT ${prefix}dev ${ARGN})

  # README and all that it links to.
  set(pages README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE)
  list(TRANSFORM pages PREPEND ${PROJECT_SOURCE_DIR}/)
  install(FILES ${pages} DESTINATION ${doc_dir} COMPONENT ${prefix}dev ${ARGN})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${doc_dir} COMPONENT ${prefix}dev ${ARGN})
endfunction()

quel_install_library("" ${CMAKE_INSTALL_LIBDIR} ${CMAKE_INSTALL_DOCDIR})
if(PROJECT_IS_TOP_LEVEL AND TARGET quelcodec AND NOT CMAKE_CROSSCOMPILING)
  include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
endif()
