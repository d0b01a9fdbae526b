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
korvane_manual(korvane-share.1 share)
