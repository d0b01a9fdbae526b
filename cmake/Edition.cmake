# The edition of the mail client that is built for. Each has names of its own for everything that is
# installed for people, so that several editions stand side by side; libraries are the same for all.

set(KORVANE_EDITION it.drelk.korvane CACHE STRING "Identifier of the mail client's edition")
set(korvane_editions it.drelk.korvane it.drelk.korvane.beta8 it.drelk.korvane.beta10
  it.drelk.korvane2 it.drelk.korvane.pro)
set(korvane_suffixes "/" "-beta8/ (Beta 8)" "-beta10/ (Beta 10)" "-2/ (Korvane 2)" "-pro/ (Pro)")
set_property(CACHE KORVANE_EDITION PROPERTY STRINGS ${korvane_editions})
list(FIND korvane_editions "${KORVANE_EDITION}" index)
if(index EQUAL -1)
  list(JOIN korvane_editions ", " known)
  message(FATAL_ERROR
    "\"${KORVANE_EDITION}\" is not an edition of the mail client. KORVANE_EDITION can be ${known}.")
endif()
list(GET korvane_suffixes ${index} names)
# What ends the names of programs, and what follows the texts that people see in menus.
string(REGEX REPLACE "/.*" "" KORVANE_SUFFIX "${names}")
string(REGEX REPLACE "[^/]*/" "" KORVANE_LABEL "${names}")
string(REPLACE "-" "_" KORVANE_TYPE_SUFFIX "${KORVANE_SUFFIX}")

# The application that the edition's shares open. The professional edition opens the regular one.
set(KORVANE_CLIENT ${KORVANE_EDITION})
if(KORVANE_EDITION STREQUAL it.drelk.korvane.pro)
  set(KORVANE_CLIENT it.drelk.korvane)
endif()
set(KORVANE_COMPOSE_EDITION "" CACHE STRING
  "Identifier of the mail client that korvane-compose stands in for (empty: the edition's)")
if(NOT KORVANE_COMPOSE_EDITION)
  set(KORVANE_COMPOSE_EDITION ${KORVANE_CLIENT})
endif()

# What an edition's programs read for themselves: the info dictionary and the catalogues.
# KORVANE_RESOURCES is their folder below share/, KORVANE_BUILT_RESOURCES the one in the build.
set(KORVANE_RESOURCES "")
set(KORVANE_INSTALLED_RESOURCES ${CMAKE_INSTALL_DATADIR})
set(KORVANE_INSTALLED_CATALOGUES ${CMAKE_INSTALL_LOCALEDIR})
set(KORVANE_BUILT_RESOURCES ${CMAKE_BINARY_DIR}/share)
if(KORVANE_SUFFIX)
  set(KORVANE_RESOURCES korvane${KORVANE_SUFFIX})
  string(APPEND KORVANE_INSTALLED_RESOURCES /${KORVANE_RESOURCES})
  set(KORVANE_INSTALLED_CATALOGUES ${KORVANE_INSTALLED_RESOURCES}/locale)
  string(APPEND KORVANE_BUILT_RESOURCES /${KORVANE_RESOURCES})
endif()

# korvane_named(VARIABLE TEXT): the text with the edition's names of the programs.
function(korvane_named variable text)
  string(REGEX REPLACE "korvane(\\\\?-)(share|browser|compose|directory|message|portal)"
    "korvane\\1\\2${KORVANE_SUFFIX}" text "${text}")
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

# korvane_fill(TEMPLATE OUTPUT): writes the template with its variables and the edition's names.
function(korvane_fill template output)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${template})
  file(READ ${template} text)
  string(CONFIGURE "${text}" text @ONLY)
  korvane_named(text "${text}")
  file(CONFIGURE OUTPUT ${output} CONTENT "${text}" @ONLY)
endfunction()
