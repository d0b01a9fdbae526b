# korvane-message, and how programs of this folder show a message.
add_library(korvane_message_report STATIC MessageReport.cpp PrintableText.cpp)
target_link_libraries(korvane_message_report PUBLIC Korvane::model PRIVATE korvane_options)

add_executable(korvane-message message.cpp)
target_compile_definitions(korvane-message PRIVATE KORVANE_VERSION="${PROJECT_VERSION}")
target_link_libraries(korvane-message PRIVATE korvane_message_report Korvane::linux korvane_options)
install(TARGETS korvane-message RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
