# korvane-directory: the mail client's accounts and contacts.
add_executable(korvane-directory directory.cpp)
target_compile_definitions(korvane-directory PRIVATE KORVANE_VERSION="${PROJECT_VERSION}")
target_link_libraries(korvane-directory PRIVATE korvane_host Korvane::linux korvane_options)
install(TARGETS korvane-directory RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
