# Turns the template, style and script of the report into a source, with the hashes by which its content security policy
# knows the latter two.
#   cmake -DFOLDER=DIR -DOUTPUT=FILE -P PageAssets.cmake
cmake_minimum_required(VERSION 3.25)

set(base64_digits "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")

# base64(HEX RESULT): of a number of bytes whose rest modulo 3 is 2, as the 32 of a SHA-256 hash.
function(base64 hex result)
  string(APPEND hex "00")
  string(REGEX MATCHALL "......" groups "${hex}")
  set(text "")
  foreach(group ${groups})
    foreach(shift 18 12 6 0)
      math(EXPR digit "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING "${base64_digits}" ${digit} 1 character)
      string(APPEND text "${character}")
    endforeach()
  endforeach()
  string(REGEX REPLACE ".$" "=" text "${text}")  # the byte that was added
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

set(source "// Generated from ${FOLDER} by the build; do not edit.
#include \"rmc/report/Assets.h\"

namespace simhost {

")

# The text is never handled as a list: it may hold any of CMake's special characters.
foreach(asset "page.html pageTemplate" "page.css pageStyle" "page.js pageScript")
  string(REPLACE " " ";" parts "${asset}")
  list(GET parts 0 file)
  list(GET parts 1 name)
  file(READ "${FOLDER}/${file}" text)
  file(SHA256 "${FOLDER}/${file}" hash)
  base64("${hash}" encoded)
  string(APPEND source "extern const char ${name}[] = R\"page(${text})page\";\n")
  if(NOT name STREQUAL "pageTemplate")
    string(APPEND source "extern const char ${name}Hash[] = \"sha256-${encoded}\";\n")
  endif()
endforeach()

file(WRITE "${OUTPUT}" "${source}\n}  // namespace simhost\n")
