# Sets VOK_PACKAGE_VERSION, the agent's version with the commit: 3.3.2.1+git20261122.101500.481a527-1. A later commit has a
# higher version. ".dirty" says that the source had changes that were not committed; without git there is no commit in it.
# Sets VOK_COMMIT_TIME to the time of the commit, in seconds since the Epoch.
set(VOK_PACKAGE_REVISION 1 CACHE STRING "Last part of the packages' version")
set(VOK_PACKAGE_VERSION ${PROJECT_VERSION})
set(VOK_COMMIT_TIME 0)
find_program(VOK_GIT git)
if(VOK_GIT)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env TZ=UTC ${VOK_GIT} -C ${PROJECT_SOURCE_DIR} show --no-patch --abbrev=7
      --date=format-local:%Y%m%d.%H%M%S --format=%cd.%h=%ct
    OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(commit MATCHES "^([0-9.]+\\.[0-9a-f]+)=([0-9]+)$")
    string(APPEND VOK_PACKAGE_VERSION "+git${CMAKE_MATCH_1}")
    set(VOK_COMMIT_TIME ${CMAKE_MATCH_2})
    execute_process(COMMAND ${VOK_GIT} -C ${PROJECT_SOURCE_DIR} status --porcelain
      OUTPUT_VARIABLE changes ERROR_QUIET)
    if(changes)
      string(APPEND VOK_PACKAGE_VERSION ".dirty")
    endif()
  endif()
endif()
string(APPEND VOK_PACKAGE_VERSION "-${VOK_PACKAGE_REVISION}")
string(TIMESTAMP now %s)
if(VOK_COMMIT_TIME EQUAL 0)
  set(VOK_COMMIT_TIME ${now})
endif()
# The form of a Debian changelog.
execute_process(COMMAND date -u -R -d @${VOK_COMMIT_TIME} OUTPUT_VARIABLE VOK_COMMIT_DATE
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
