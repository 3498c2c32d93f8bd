# Compile and link options of every target of the project. Link vok_options PRIVATE.
set(VOK_SANITIZE "" CACHE STRING "Sanitizers for everything, e.g. address,undefined or thread")
option(VOK_COVERAGE "Count the lines that tests reach (gcov)" OFF)
option(VOK_UNITY "Compile the tests in batches" ON)
option(VOK_FUZZ "Build the libFuzzer targets (clang only)" OFF)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

find_program(VOK_CCACHE ccache)
if(VOK_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${VOK_CCACHE})
  # Without the sloppiness ccache doesn't cache anything that uses a precompiled header. It takes the list of
  # headers from the compiler, which saves running the preprocessor first.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_DEPEND=1 ${VOK_CCACHE})
endif()

if(VOK_SANITIZE)
  add_compile_options(-fsanitize=${VOK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VOK_SANITIZE})
endif()
if(VOK_COVERAGE)
  add_compile_options(--coverage -O0)
  add_link_options(--coverage)
endif()
if(VOK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The fastest linker that the compiler supports; the run-time libraries of the sanitizers and of libFuzzer expect the
# default one.
if(NOT VOK_SANITIZE AND NOT VOK_FUZZ)
  include(CheckLinkerFlag)
  foreach(linker mold lld)
    check_linker_flag(CXX -fuse-ld=${linker} VOK_HAS_${linker})
    if(VOK_HAS_${linker})
      add_link_options(-fuse-ld=${linker})
      break()
    endif()
  endforeach()
endif()

include(${CMAKE_CURRENT_LIST_DIR}/VokHardening.cmake)

add_library(vok_options INTERFACE)
target_compile_options(vok_options INTERFACE
  -Wall -Wextra -Wpedantic -Wformat=2 -Wshadow -Wconversion -Werror
  $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)  # which GCC's -Wconversion leaves out
target_compile_definitions(vok_options INTERFACE _FILE_OFFSET_BITS=64)
target_include_directories(vok_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

find_package(Threads REQUIRED)

# jsoncpp of the ABI that is being built. Debian keeps the headers in one directory for all ABIs.
find_path(JSONCPP_INCLUDE json/json.h PATH_SUFFIXES jsoncpp REQUIRED)
if(VOK_LIBRARY_ARCHITECTURE)
  find_library(JSONCPP_LIBRARY jsoncpp PATHS /usr/lib/${VOK_LIBRARY_ARCHITECTURE} NO_DEFAULT_PATH REQUIRED)
else()
  find_library(JSONCPP_LIBRARY jsoncpp REQUIRED)
endif()
add_library(vok_jsoncpp INTERFACE)
target_include_directories(vok_jsoncpp SYSTEM INTERFACE ${JSONCPP_INCLUDE})
target_link_libraries(vok_jsoncpp INTERFACE ${JSONCPP_LIBRARY})

# Options of the programs; headers only.
find_path(CLI11_INCLUDE CLI/CLI.hpp REQUIRED)
add_library(vok_cli11 INTERFACE)
target_include_directories(vok_cli11 SYSTEM INTERFACE ${CLI11_INCLUDE})
# vok_reads_options(SOURCE): for a source that parses a command line with CLI11, which runs once and would take the
# optimiser 15 seconds.
function(vok_reads_options source)
  set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-O0;-g1;-U_FORTIFY_SOURCE")
endfunction()
