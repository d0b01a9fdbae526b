# Installation: the libraries as a CMake package and for pkg-config, the programs and their data. Each
# file belongs to a component, named for the part that a packager makes of it: docs/packaging.md.
include(CMakePackageConfigHelpers)

get_property(libraries GLOBAL PROPERTY KORVANE_INSTALLED_LIBRARIES)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Korvane)

foreach(library ${libraries})
  if(BUILD_SHARED_LIBS)
    target_link_options(korvane_${library} PRIVATE
      -Wl,--version-script=${PROJECT_SOURCE_DIR}/packaging/exports.map)
    set_target_properties(korvane_${library} PROPERTIES
      DEFINE_SYMBOL "" LINK_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/exports.map
      INSTALL_RPATH "\$ORIGIN")
  endif()
  install(TARGETS korvane_${library} EXPORT KorvaneTargets
    LIBRARY COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
  # What lies in the folder itself is public, what lies below its detail/ is not.
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${library}/*.h)
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/korvane/${library}
    COMPONENT development)
endforeach()
if(NOT BUILD_SHARED_LIBS)
  # Static libraries leave their internal ones to whoever links a program; no header of theirs.
  install(TARGETS korvane_text korvane_formats EXPORT KorvaneTargets
    ARCHIVE COMPONENT development)
endif()

install(FILES platform/linux/CairoSurface.h platform/linux/LinuxPlatform.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/korvane/platform/linux COMPONENT development)

install(EXPORT KorvaneTargets NAMESPACE Korvane:: DESTINATION ${package_folder}
  COMPONENT development)
configure_package_config_file(packaging/KorvaneConfig.cmake.in KorvaneConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(KorvaneConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KorvaneConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/KorvaneConfigVersion.cmake DESTINATION ${package_folder}
  COMPONENT development)

# What a library's pkg-config file requires beside itself.
set(requires_platform "")
set(requires_urlutils korvane-platform)
set(requires_model korvane-urlutils)
set(requires_extension korvane-model)
set(requires_share korvane-extension)
set(requires_linux korvane-platform)
set(about_platform "services and value types that the mail client's shared code rests on")
set(about_urlutils "URL and HTTP request utilities on plain texts")
set(about_model "messages, accounts and contacts shared with the mail client")
set(about_extension "the mail client's shared container, sharing and launching")
set(about_share "the share extension's controller and view")
set(about_linux "the services on a Linux desktop")
set(private_linux "gio-unix-2.0 libdeflate zlib libpsl icu-i18n icu-uc")
set(internal_linux -lkorvane_formats)
# The prefix is told from where the file lies, so that an installed tree can be moved, and installed
# elsewhere than it was configured for.
file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")

foreach(library ${libraries})
  set(name ${library})
  set(requires ${requires_${library}})
  set(about ${about_${library}})
  set(internal_libs "")
  if(NOT BUILD_SHARED_LIBS)
    string(APPEND requires " ${private_${library}}")
    set(internal_libs "${internal_${library}} -lkorvane_text")
  endif()
  configure_file(packaging/korvane.pc.in korvane-${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/korvane-${library}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

configure_file(packaging/Info.plist.in ${KORVANE_BUILT_RESOURCES}/korvane/Info.plist @ONLY)
install(FILES ${KORVANE_BUILT_RESOURCES}/korvane/Info.plist
  DESTINATION ${KORVANE_INSTALLED_RESOURCES}/korvane COMPONENT share)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
include(packaging/desktop.cmake)

# korvane-compose is a package of its own, which gives way to the mail client itself:
# cmake --install BUILD --component compose. The professional edition's shares open the regular
# edition, so that edition's korvane-compose serves both.
if(KORVANE_EDITION STREQUAL KORVANE_CLIENT)
  set(compose_desktop ${CMAKE_BINARY_DIR}/compose/${KORVANE_COMPOSE_EDITION}.desktop)
  set(compose_service ${CMAKE_BINARY_DIR}/share/${KORVANE_COMPOSE_EDITION}.service)
  korvane_fill(${PROJECT_SOURCE_DIR}/packaging/compose/korvane-compose.desktop.in ${compose_desktop})
  korvane_fill(${PROJECT_SOURCE_DIR}/packaging/compose/korvane-compose.service.in ${compose_service})
  install(TARGETS korvane-compose COMPONENT compose EXCLUDE_FROM_ALL)
  install(FILES ${compose_desktop} DESTINATION ${CMAKE_INSTALL_DATADIR}/applications
    COMPONENT compose EXCLUDE_FROM_ALL)
  install(FILES ${compose_service} DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/services
    COMPONENT compose EXCLUDE_FROM_ALL)
endif()
