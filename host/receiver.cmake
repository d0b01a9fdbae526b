# The reference receiver: stands in for the mail client in demonstrations and tests. Not installed.
add_executable(korvane-receiver receiver.cpp)
target_link_libraries(korvane-receiver PRIVATE
  korvane_host PkgConfig::KORVANE_GIO korvane_options)
