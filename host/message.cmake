# korvane-message: shows the message that a command URL carries.
add_executable(korvane-message message.cpp)
target_compile_definitions(korvane-message PRIVATE KORVANE_VERSION="${PROJECT_VERSION}")
target_link_libraries(korvane-message PRIVATE korvane_host Korvane::linux korvane_options)
