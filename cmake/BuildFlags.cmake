# Compiler flags of all targets, and functions that the folders use.

add_library(kwlookup_flags INTERFACE)
target_include_directories(kwlookup_flags INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_compile_features(kwlookup_flags INTERFACE cxx_std_17)
target_compile_options(kwlookup_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align
  -Woverloaded-virtual)

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# As part of another project, the build type is that of the project.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The warning takes the sources that a unity source includes for headers.
  target_compile_options(kwlookup_flags INTERFACE -Wno-subobject-linkage)
endif()

if(KWLOOKUP_WERROR)
  target_compile_options(kwlookup_flags INTERFACE -Werror)
endif()

if(KWLOOKUP_SANITIZE)
  add_compile_options(-fsanitize=${KWLOOKUP_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KWLOOKUP_SANITIZE})
else()
  add_link_options(-Wl,-z,defs)
endif()

if(KWLOOKUP_HARDENING)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -D_GLIBCXX_ASSERTIONS
                      -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64")
    add_compile_options(-fcf-protection)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

# Export only the symbols of the version script `map` from `target`.
function(kwlookup_export_only target map)
  target_link_options(${target} PRIVATE
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/${map})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/${map})
endfunction()

# kwlookup_have_plugins(RESULT TYPE...): set RESULT to true if the plug-ins of all types are built.
function(kwlookup_have_plugins result)
  set(missing ${ARGN})
  list(REMOVE_ITEM missing ${KWLOOKUP_BUILT_PLUGINS})
  if(missing)
    set(${result} OFF PARENT_SCOPE)
  else()
    set(${result} ON PARENT_SCOPE)
  endif()
endfunction()

# Add the sub-folder `name`, such as "tests", of each family and plug-in that is built.
function(kwlookup_add_folders name)
  list(TRANSFORM KWLOOKUP_BUILT_FAMILIES PREPEND families/ OUTPUT_VARIABLE families)
  list(TRANSFORM KWLOOKUP_BUILT_PLUGINS PREPEND plugins/ OUTPUT_VARIABLE plugins)
  foreach(folder IN LISTS families plugins)
    if(EXISTS ${PROJECT_SOURCE_DIR}/${folder}/${name}/CMakeLists.txt)
      add_subdirectory(${PROJECT_SOURCE_DIR}/${folder}/${name} ${folder})
    endif()
  endforeach()
endfunction()
