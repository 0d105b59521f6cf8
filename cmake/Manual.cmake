# The manual pages, which say what the built programs say of themselves.

find_program(SETTINGS_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)

# install_manual(PROGRAM SECTION COMPONENT)
function(install_manual program section component)
  set(writer ${PROJECT_SOURCE_DIR}/packaging/manual.py)
  set(document ${PROJECT_SOURCE_DIR}/docs/commands.md)
  set(page ${PROJECT_BINARY_DIR}/manual/${program}.${section})
  add_custom_command(OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/manual
    COMMAND ${SETTINGS_PYTHON} -B ${writer}
      $<TARGET_FILE:${program}> ${section} ${PROJECT_VERSION} ${document} ${page}
    DEPENDS ${program} ${writer} ${document}
    VERBATIM)
  add_custom_target(${program}_manual ALL DEPENDS ${page})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()
