# korvane-view: draws a sample view; shows it in a window where GTK 4 is installed.
pkg_check_modules(KORVANE_GTK IMPORTED_TARGET gtk4)
add_executable(korvane-view view.cpp)
target_link_libraries(korvane-view PRIVATE Korvane::share Korvane::linux korvane_options)
if(KORVANE_GTK_FOUND)
  target_compile_definitions(korvane-view PRIVATE KORVANE_GTK)
  target_link_libraries(korvane-view PRIVATE PkgConfig::KORVANE_GTK)
endif()
