# What every target of this project is built with, and how its libraries are declared.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
# Installed programs and libraries find their neighbours wherever the prefix is moved to.
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

find_program(PDM_CCACHE ccache)
if(PDM_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${PDM_CCACHE})
endif()

if(PDM_FUZZ)
  set(PDM_SANITIZE ON)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(NOT PDM_SANITIZE AND NOT PDM_SANITIZE_THREAD)
  add_link_options(-Wl,--no-undefined)
endif()

add_library(pdm_warnings INTERFACE)
target_compile_options(pdm_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  # Not in a release: users build it with compilers that we have not seen, and g++ 12 warns at -O3 of overlaps in std::string's
  # own operator+, wrongly (GCC's bug 105651).
  $<$<NOT:$<CONFIG:Release>>:-Werror>)
if(PDM_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(PDM_SANITIZE_THREAD)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

# One shared library with its headers. HEADERS are relative to the folder and installed under
# include/PDM_Core/<folder>; LINK are public dependencies, PRIVATE_LINK hidden ones. C: its headers are for C, too.
function(pdm_add_platform_library name)
  cmake_parse_arguments(ARG "C" "" "SOURCES;HEADERS;LINK;PRIVATE_LINK" ${ARGN})
  add_library(${name} SHARED ${ARG_SOURCES} ${ARG_HEADERS})
  add_library(PDM_Core::${name} ALIAS ${name})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/PDM_Core>)
  if(NOT ARG_C)
    target_compile_features(${name} PUBLIC cxx_std_20)
  endif()
  target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE $<BUILD_INTERFACE:pdm_warnings> ${ARG_PRIVATE_LINK})
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  install(FILES ${ARG_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/PDM_Core/${name})
  set_property(GLOBAL APPEND PROPERTY PDM_INSTALLED_LIBRARIES ${name})
endfunction()
