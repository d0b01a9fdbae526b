# What every folder's CMakeLists.txt needs: one library per folder, made of all sources in it.

add_library(korvane_options INTERFACE)
target_compile_options(korvane_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
if(KORVANE_SANITIZE)
  target_compile_options(korvane_options INTERFACE -fsanitize=${KORVANE_SANITIZE} -fno-omit-frame-pointer
                                                   -fno-sanitize-recover=all)
  target_link_options(korvane_options INTERFACE -fsanitize=${KORVANE_SANITIZE})
endif()
if(KORVANE_FUZZ AND CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # The libraries are measured too, or the fuzzer would see nothing of them.
  set(fuzzed -fsanitize=fuzzer-no-link,address,undefined)
  target_compile_options(korvane_options INTERFACE ${fuzzed} -fno-sanitize-recover=all)
  target_link_options(korvane_options INTERFACE ${fuzzed})
endif()
if(KORVANE_COVERAGE)
  target_compile_options(korvane_options INTERFACE --coverage -O0)
  target_link_options(korvane_options INTERFACE --coverage)
endif()

# korvane_library(NAME LINK...): library korvane_NAME (alias Korvane::NAME) from the sources of
# this folder, using the libraries named.
function(korvane_library name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(korvane_${name} ${sources})
  add_library(Korvane::${name} ALIAS korvane_${name})
  target_compile_features(korvane_${name} PUBLIC cxx_std_20)
  target_include_directories(korvane_${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:include/korvane>)
  target_link_libraries(korvane_${name} PUBLIC ${ARGN} PRIVATE $<BUILD_INTERFACE:korvane_options>)
  set_target_properties(korvane_${name} PROPERTIES
    EXPORT_NAME ${name} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
