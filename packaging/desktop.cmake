# What a desktop expects of a program that it shows: icons, a description, man pages, completions.

foreach(icon scalable/apps/korvane-share.svg symbolic/apps/korvane-share-symbolic.svg)
  get_filename_component(name ${icon} NAME)
  get_filename_component(folder ${icon} DIRECTORY)
  korvane_named(installed ${name})
  install(FILES packaging/icons/${name} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${folder}
    RENAME ${installed} COMPONENT share)
endforeach()

# korvane_manual(PAGE COMPONENT): a man page of packaging/man, under the edition's name.
function(korvane_manual page component)
  korvane_named(name ${page})
  korvane_fill(${PROJECT_SOURCE_DIR}/packaging/man/${page} ${CMAKE_BINARY_DIR}/share/man/${name})
  string(REGEX REPLACE ".*\\." "" section ${page})
  if(component STREQUAL compose)
    set(more EXCLUDE_FROM_ALL)
  endif()
  install(FILES ${CMAKE_BINARY_DIR}/share/man/${name}
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component} ${more})
endfunction()

# korvane_completions(PROGRAM COMPONENT WORDS [IDENTIFIER]...): what shells offer behind the program's
# name: the words (FILES: files), and the identifiers for options that take one.
function(korvane_completions program component WORDS)
  korvane_named(PROGRAM ${program})
  string(MAKE_C_IDENTIFIER ${PROGRAM} FUNCTION)
  string(JOIN " " IDENTIFIERS ${ARGN})
  set(folder ${CMAKE_BINARY_DIR}/share/completions)
  configure_file(packaging/completions/program.bash.in ${folder}/bash/${PROGRAM} @ONLY)
  configure_file(packaging/completions/program.zsh.in ${folder}/zsh/_${PROGRAM} @ONLY)
  configure_file(packaging/completions/program.fish.in ${folder}/fish/${PROGRAM}.fish @ONLY)
  if(component STREQUAL compose)
    set(more EXCLUDE_FROM_ALL)
  endif()
  install(FILES ${folder}/bash/${PROGRAM} COMPONENT ${component} ${more}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  # Debian's zsh looks into the folder of vendors alone, others into the common one.
  install(FILES ${folder}/zsh/_${PROGRAM} COMPONENT ${component} ${more}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${KORVANE_ZSH_FOLDER})
  install(FILES ${folder}/fish/${PROGRAM}.fish COMPONENT ${component} ${more}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endfunction()

set(zsh_folder site-functions)
if(EXISTS /etc/debian_version)
  set(zsh_folder vendor-completions)
endif()
set(KORVANE_ZSH_FOLDER ${zsh_folder} CACHE STRING "Where zsh looks for completions, below share/zsh")

korvane_manual(korvane-share-request.5 share)
foreach(program korvane-share korvane-directory korvane-message)
  korvane_manual(${program}.1 share)
endforeach()
korvane_manual(korvane-browser.8 browser)
set(identifiers ${korvane_editions})
list(TRANSFORM identifiers APPEND .share)
korvane_completions(korvane-share share FILES ${identifiers})
korvane_completions(korvane-directory share "accounts contacts" ${identifiers})
korvane_completions(korvane-message share "")
korvane_manual(korvane-portal.1 portal)
korvane_completions(korvane-portal portal "")
# The professional edition has none of its own: packaging.cmake.
if(KORVANE_EDITION STREQUAL KORVANE_CLIENT)
  korvane_manual(korvane-compose.1 compose)
  korvane_completions(korvane-compose compose "" thunderbird org.gnome.Evolution
    org.kde.kmail2 claws-mail neomutt)
endif()

# What software centres show.
set(metainfo ${CMAKE_BINARY_DIR}/share/metainfo/${KORVANE_EDITION}.share.metainfo.xml)
set(template ${CMAKE_BINARY_DIR}/metainfo/korvane-share.metainfo.xml.in)
korvane_fill(${PROJECT_SOURCE_DIR}/packaging/metainfo/korvane-share.metainfo.xml.in ${template})
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/share/metainfo)
set(label "")
if(KORVANE_LABEL)
  set(label COMMAND sed -E -i "s|^(  <name[^<]*)<|\\1${KORVANE_LABEL}<|" ${metainfo})
endif()
add_custom_command(OUTPUT ${metainfo}
  COMMAND ${MSGFMT} --xml --template=${template} -d ${PROJECT_SOURCE_DIR}/po -o ${metainfo}
  ${label}
  DEPENDS ${template} ${PROJECT_SOURCE_DIR}/po/LINGUAS ${KORVANE_CATALOGUES} VERBATIM)
add_custom_target(korvane_metainfo ALL DEPENDS ${metainfo})
install(FILES ${metainfo} DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT share)
