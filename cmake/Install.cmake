# Components of an installation: service, tools, virtual-set, client, client-development.

foreach(directory BINDIR LIBEXECDIR DATADIR LOCALEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${directory}}")
    message(FATAL_ERROR "CMAKE_INSTALL_${directory} is \"${CMAKE_INSTALL_${directory}}\": programs "
      "find their data from where they are, so give it relative to CMAKE_INSTALL_PREFIX")
  endif()
endforeach()

# Before anything is copied.
install(CODE [[
  set(wanted "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
  set(existing "${wanted}")
  while(NOT EXISTS "${existing}")
    cmake_path(GET existing PARENT_PATH existing)
  endwhile()
  execute_process(COMMAND test -d "${existing}" -a -w "${existing}" RESULT_VARIABLE problem)
  if(problem)
    message(FATAL_ERROR "cannot install into ${wanted}: ${existing} is no directory that you can "
      "write to; choose another with --prefix or DESTDIR, or use sudo")
  endif()
]] ALL_COMPONENTS)

# Where a build stands is in none of its programs.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# Programs that users do not start themselves.
set(program_directory ${CMAKE_INSTALL_LIBEXECDIR}/settings-service)

# install_configured(TEMPLATE NAME DIRECTORY COMPONENT [VARIABLE VALUE]...): fills the template in
# when it is installed, because the prefix is not known before: ${CMAKE_INSTALL_PREFIX} in a value
# stands for it.
function(install_configured template name directory component)
  set(definitions "")
  while(ARGN)
    list(POP_FRONT ARGN variable value)
    string(APPEND definitions "set(${variable} \"${value}\")\n")
  endwhile()
  install(CODE "
    ${definitions}
    set(file \"\${CMAKE_INSTALL_PREFIX}/${directory}/${name}\")
    message(STATUS \"Installing: \$ENV{DESTDIR}\${file}\")
    configure_file(\"${template}\" \"\$ENV{DESTDIR}\${file}\" @ONLY)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")
  " COMPONENT ${component})
endfunction()

# install_configuration(FILE COMPONENT): into the directory in which the daemon looks for it
# (platform/host/system/environment.h). A file that is there stays: it is its owner's.
function(install_configuration file component)
  cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
  install(CODE "
    set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
    if(prefix STREQUAL \"/usr\")
      set(prefix /)
    endif()
    set(directory \"${CMAKE_INSTALL_SYSCONFDIR}/settings-service\")
    cmake_path(ABSOLUTE_PATH directory BASE_DIRECTORY \"\${prefix}\")
    get_filename_component(name \"${file}\" NAME)
    if(NOT EXISTS \"\$ENV{DESTDIR}\${directory}/\${name}\")
      file(INSTALL \"${file}\" DESTINATION \"\${directory}\")
    endif()
  " COMPONENT ${component})
endfunction()

# configure_bus_service(NAME PROGRAM FILE): writes the file by which a bus starts a program.
set(bus_service_template ${PROJECT_SOURCE_DIR}/data/bus/service.in)
function(configure_bus_service NAME PROGRAM file)
  configure_file(${bus_service_template} ${file} @ONLY)
endfunction()

# install_bus_service(NAME PROGRAM COMPONENT): installs such a file for a program in
# program_directory.
function(install_bus_service name program component)
  install_configured(${bus_service_template} ${name}.service
    ${CMAKE_INSTALL_DATADIR}/dbus-1/services ${component}
    NAME ${name} PROGRAM "\${CMAKE_INSTALL_PREFIX}/${program_directory}/${program}")
endfunction()

# install_completion(TOOL COMPONENT): of its command line, in bash, zsh and fish.
function(install_completion TOOL component)
  set(place ${PROJECT_BINARY_DIR}/completion)
  foreach(shell bash zsh fish)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/completion/completion.${shell}.in
      ${place}/${TOOL}.${shell} @ONLY)
  endforeach()
  install(FILES ${place}/${TOOL}.bash COMPONENT ${component} RENAME ${TOOL}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${place}/${TOOL}.zsh COMPONENT ${component} RENAME _${TOOL}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES ${place}/${TOOL}.fish COMPONENT ${component}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endfunction()
