# Sets VOK_VERSION from the agent's header, so that the version is written once.
set(vok_version_header ${CMAKE_CURRENT_SOURCE_DIR}/src/core/base/vokVersion.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${vok_version_header})
file(STRINGS ${vok_version_header} VOK_VERSION REGEX " VOK_VERSION\\[\\]")
if(NOT VOK_VERSION MATCHES "\"([0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+)\"")
  message(FATAL_ERROR "${vok_version_header} has no version of four numbers")
endif()
set(VOK_VERSION ${CMAKE_MATCH_1})
