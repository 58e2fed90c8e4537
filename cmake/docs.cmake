# The target `docs`: HTML of the headers, README and docs/ in the build folder's docs/html. No part of
# `all`, and not there without doxygen.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  set(docs_folder ${PROJECT_BINARY_DIR}/docs)
  file(GLOB docs_pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/*.md ${PROJECT_SOURCE_DIR}/docs/*.md
    ${PROJECT_SOURCE_DIR}/docs/measured/*.md)
  set(docs_input ${PROJECT_SOURCE_DIR}/include/quelcodec ${docs_pages})
  list(TRANSFORM docs_input REPLACE "(.+)" "\"\\1\"")
  string(JOIN " " docs_input ${docs_input})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
  file(MAKE_DIRECTORY ${docs_folder})
  add_custom_target(docs COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile VERBATIM)
  if(QUELCODEC_TESTS)
    add_test(NAME docs.NoWarnings COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile)
  endif()
elseif(QUELCODEC_TESTS)
  quel_skipped_test(docs.NoWarnings "no doxygen")
endif()
