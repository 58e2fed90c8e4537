# What `cpack` makes Debian packages of. Files lie there otherwise than where `cmake --install` puts
# them, so that the packages have components of their own, which nothing else installs.
set(debian_library_dir lib/${CMAKE_LIBRARY_ARCHITECTURE})
set(debian_library_package libquelcodec${PROJECT_VERSION_MAJOR})
set(debian_dev_package libquelcodec-dev)
set(debian_tools_package quelcodec-tools)
set(CPACK_COMPONENTS_ALL debian_library debian_dev)

quel_install_library(debian_ ${debian_library_dir} share/doc/${debian_dev_package} EXCLUDE_FROM_ALL)

find_program(GZIP_PROGRAM gzip)
if(TARGET quel_manual AND GZIP_PROGRAM)
  list(APPEND CPACK_COMPONENTS_ALL debian_tools)
  set(in_tools COMPONENT debian_tools EXCLUDE_FROM_ALL)
  install(TARGETS quelo quel RUNTIME DESTINATION bin ${in_tools})
  # The linker finds the library by itself there.
  foreach(program quelo quel)
    install(CODE "file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin/${program}\")"
      ${in_tools})
  endforeach()

  get_target_property(pages quel_manual quel_pages)
  foreach(page ${pages})
    get_filename_component(name ${page} NAME)
    set(packed ${PROJECT_BINARY_DIR}/debian_package/${name}.gz)
    # Without name and time of the file, which would make each build another.
    add_custom_command(OUTPUT ${packed} COMMAND ${GZIP_PROGRAM} -9nc ${page} > ${packed} DEPENDS ${page})
    list(APPEND packed_pages ${packed})
  endforeach()
  add_custom_target(quel_packed_manual ALL DEPENDS ${packed_pages})
  add_dependencies(quel_packed_manual quel_manual)
  install(FILES ${packed_pages} DESTINATION share/man/man1 ${in_tools})

  set(completions ${PROJECT_BINARY_DIR}/tools/quel)
  install(FILES ${completions}.bash
    DESTINATION share/bash-completion/completions RENAME quel ${in_tools})
  install(FILES ${completions}.fish DESTINATION share/fish/vendor_completions.d ${in_tools})
  # Debian's zsh keeps what packages bring apart from what the administrator adds.
  install(FILES ${completions}.zsh DESTINATION share/zsh/vendor-completions RENAME _quel ${in_tools})
endif()

foreach(component ${CPACK_COMPONENTS_ALL})
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright
    DESTINATION share/doc/${${component}_package} COMPONENT ${component} EXCLUDE_FROM_ALL)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${component}_package})
endforeach()

# A first line for the lists of packages, and what the package is for.
set(about "quelcodec turns speech of 8 kHz into 5, 6.5 or 8.5 kbit/s and of 16 kHz into
16 kbit/s, and back, and makes up for frames that were lost on the way.
")
set(CPACK_DEBIAN_DEBIAN_LIBRARY_DESCRIPTION "speech codec for slow links, shared library
${about}
This package holds the shared library, which programs link and which media
hosts load as a plug-in.")
set(CPACK_DEBIAN_DEBIAN_DEV_DESCRIPTION "speech codec for slow links, development files
${about}
This package holds what building programs on the library takes: headers for
C and C++, the static library, the CMake package, the pkg-config file and the
pages of documentation.")
set(CPACK_DEBIAN_DEBIAN_TOOLS_DESCRIPTION "speech codec for slow links, programs
${about}
This package holds quel, which codes, decodes, plays, inspects and measures
files and pipes, and quelo, the plain driver of the plug-in functions.")
# cpack puts any other summary than its own default in front of these.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The quelcodec authors <quelcodec@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)
set(CPACK_DEBIAN_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEBIAN_DEV_DEPENDS debian_library)
set(CPACK_COMPONENT_DEBIAN_TOOLS_DEPENDS debian_library)
include(CPack)
