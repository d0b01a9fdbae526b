# What every folder's CMakeLists.txt needs: one library per folder, made of all sources in it and
# below it.

add_library(korvane_options INTERFACE)
target_compile_options(korvane_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)

# What makes a flaw harder to use: tests/house/hardening_test.cpp reads the programs for it. The
# sanitizers see more than the checked functions of the C library do.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported()
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "KORVANE_HAS${flag}" has)
  check_cxx_compiler_flag(${flag} ${has})
  if(${has})
    target_compile_options(korvane_options INTERFACE ${flag})
  endif()
endforeach()
if(NOT KORVANE_SANITIZE AND NOT KORVANE_FUZZ AND NOT KORVANE_COVERAGE)
  target_compile_options(korvane_options INTERFACE
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
endif()
target_link_options(korvane_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)

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
  # Threads count in the same counters.
  target_compile_options(korvane_options INTERFACE --coverage -O0 -fprofile-update=atomic)
  target_link_options(korvane_options INTERFACE --coverage)
endif()

# The folder's sources, those of its own subfolders too.
macro(korvane_sources variable)
  file(GLOB_RECURSE ${variable} CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
endmacro()

# korvane_library(NAME LINK...): library korvane_NAME (alias Korvane::NAME) from the sources of
# this folder, using the libraries named. Installed, with the headers of the folder itself; those
# below its detail/ are private.
function(korvane_library name)
  korvane_sources(sources)
  add_library(korvane_${name} ${sources})
  korvane_set_up(${name} ${ARGN})
  target_link_libraries(korvane_${name} PRIVATE korvane_text)
  set_property(GLOBAL APPEND PROPERTY KORVANE_INSTALLED_LIBRARIES ${name})
endfunction()

# korvane_internal_library(NAME LINK...): the same for a folder that only this project uses. Always
# an archive, whose code becomes part of the libraries that use it.
function(korvane_internal_library name)
  korvane_sources(sources)
  add_library(korvane_${name} STATIC ${sources})
  korvane_set_up(${name} ${ARGN})
endfunction()

function(korvane_set_up name)
  add_library(Korvane::${name} ALIAS korvane_${name})
  target_compile_features(korvane_${name} PUBLIC cxx_std_20)
  target_include_directories(korvane_${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:include/korvane>)
  target_link_libraries(korvane_${name} PUBLIC ${ARGN} PRIVATE $<BUILD_INTERFACE:korvane_options>)
  set_target_properties(korvane_${name} PROPERTIES
    EXPORT_NAME ${name} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
