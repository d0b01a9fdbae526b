# Installation: the libraries as a CMake package and for pkg-config, the programs and their data.
include(CMakePackageConfigHelpers)

set(libraries platform urlutils model extension share linux)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Korvane)

foreach(library ${libraries})
  if(BUILD_SHARED_LIBS)
    target_link_options(korvane_${library} PRIVATE
      -Wl,--version-script=${PROJECT_SOURCE_DIR}/packaging/exports.map)
    set_target_properties(korvane_${library} PROPERTIES
      DEFINE_SYMBOL "" LINK_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/exports.map
      INSTALL_RPATH "\$ORIGIN")
  endif()
  install(TARGETS korvane_${library} EXPORT KorvaneTargets)
endforeach()

foreach(folder platform urlutils model extension share)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.h)
  # Headers of the sources' own concern stay here.
  list(FILTER headers EXCLUDE REGEX
    "/([A-Za-z0-9]+Blocks|URLCharacters|PercentEncoding|QueryStrings)\\.h$")
  list(FILTER headers EXCLUDE REGEX "/(RecordReading|LinkAnchors|TextSearch)\\.h$")
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/korvane/${folder})
endforeach()
install(FILES platform/linux/LinuxPlatform.h platform/linux/CairoSurface.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/korvane/platform/linux)

install(EXPORT KorvaneTargets NAMESPACE Korvane:: DESTINATION ${package_folder})
configure_package_config_file(packaging/KorvaneConfig.cmake.in KorvaneConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(KorvaneConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KorvaneConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/KorvaneConfigVersion.cmake DESTINATION ${package_folder})

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
set(private_linux "gio-unix-2.0 gdk-pixbuf-2.0 libdeflate libpsl cairo icu-i18n icu-uc")
foreach(library ${libraries})
  set(name ${library})
  set(requires ${requires_${library}})
  set(about ${about_${library}})
  if(NOT BUILD_SHARED_LIBS)
    string(APPEND requires " ${private_${library}}")
  endif()
  configure_file(packaging/korvane.pc.in korvane-${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/korvane-${library}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

foreach(program korvane-share korvane-message korvane-directory)
  if(TARGET ${program})
    set_target_properties(${program} PROPERTIES
      INSTALL_RPATH "\$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS ${program})
  endif()
endforeach()

configure_file(packaging/Info.plist.in ${CMAKE_BINARY_DIR}/share/korvane/Info.plist @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/share/korvane/Info.plist
  DESTINATION ${CMAKE_INSTALL_DATADIR}/korvane)
install(FILES packaging/korvane-share.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
# An entry in the context menus of file managers: Xfce's, KDE's and Cinnamon's.
install(FILES packaging/korvane-share.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/Thunar/sendto)
install(FILES packaging/file-managers/kde-korvane-share.desktop
  DESTINATION ${CMAKE_INSTALL_DATADIR}/kio/servicemenus RENAME korvane-share.desktop)
install(FILES packaging/file-managers/korvane-share.nemo_action
  DESTINATION ${CMAKE_INSTALL_DATADIR}/nemo/actions)
install(FILES packaging/korvane-share.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
