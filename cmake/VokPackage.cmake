# The Debian packages: "vok" is for a host, "vok-simhost" for a desk. scripts/package builds them with CPack; by hand,
#   DESTDIR=stage cmake --install build/native --prefix / --component agent
# shows what is in one. The product stays below /opt/mev/vok, as the agent and its unit contain that path; what Debian's
# own programs read is where they look for it.
include(${CMAKE_CURRENT_LIST_DIR}/VokPackageVersion.cmake)

set(VOK_PACKAGE_MAINTAINER "vok developers <vok@example.com>" CACHE STRING "Whom the packages name")
if(VOK_LIBRARY_ARCHITECTURE STREQUAL i386-linux-gnu)
  set(VOK_PACKAGE_ARCHITECTURE i386)
else()
  execute_process(COMMAND dpkg --print-architecture OUTPUT_VARIABLE VOK_PACKAGE_ARCHITECTURE
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()
set(package_files ${CMAKE_BINARY_DIR}/package)  # what is made for the packages
set(packaging ${PROJECT_SOURCE_DIR}/packaging)

# vok_put(COMPONENT DESTINATION FILE...): installs the files with mode 0644.
function(vok_put component destination)
  install(FILES ${ARGN} DESTINATION ${destination} COMPONENT ${component} EXCLUDE_FROM_ALL
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endfunction()

# vok_put_link(COMPONENT LINK TARGET)
function(vok_put_link component link target)
  set(made ${package_files}/links/${link})
  cmake_path(GET made PARENT_PATH directory)
  file(MAKE_DIRECTORY ${directory})
  file(CREATE_LINK ${target} ${made} SYMBOLIC)
  cmake_path(GET link PARENT_PATH destination)
  install(FILES ${made} DESTINATION ${destination} COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

# vok_put_compressed(COMPONENT DESTINATION FILE [NAME]): as gzip writes it without time and name.
function(vok_put_compressed component destination file)
  cmake_path(GET file FILENAME name)
  if(ARGC GREATER 3)
    set(name ${ARGV3})
  endif()
  set(made ${package_files}/${component}/${name}.gz)
  file(MAKE_DIRECTORY ${package_files}/${component})
  execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${made} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  vok_put(${component} ${destination} ${made})
endfunction()

# vok_put_documents(COMPONENT PACKAGE FILE...): the documents, and those that each package has.
function(vok_put_documents component package)
  set(folder usr/share/doc/${package})
  vok_put(${component} ${folder} ${ARGN})
  set(VOK_PACKAGE_NAME ${package})
  configure_file(${packaging}/changelog.in ${package_files}/${component}/changelog.text @ONLY)
  vok_put_compressed(${component} ${folder} ${package_files}/${component}/changelog.text changelog.Debian)
  vok_put_compressed(${component} ${folder} ${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog)
  vok_put(${component} ${folder} ${packaging}/copyright)
  install(FILES ${packaging}/${package}.lintian-overrides DESTINATION usr/share/lintian/overrides RENAME ${package}
    COMPONENT ${component} EXCLUDE_FROM_ALL PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endfunction()

# The notices of what is compiled in from headers and data, as its packages on this machine have them.
function(vok_put_notices component package)
  foreach(part ${ARGN})
    if(EXISTS /usr/share/doc/${part}/copyright)
      install(FILES /usr/share/doc/${part}/copyright DESTINATION usr/share/doc/${package} RENAME copyright.${part}
        COMPONENT ${component} EXCLUDE_FROM_ALL PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
  endforeach()
endfunction()

# vok_put_sbom(COMPONENT PACKAGE FOLDER...): the list of what is in it, from what the objects of these folders were compiled
# from, and from the installed programs.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
function(vok_put_sbom component package)
  list(JOIN ARGN " " folders)
  install(CODE "execute_process(COMMAND ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/scripts/sbom.py
    --package ${package} --version ${VOK_PACKAGE_VERSION} --created ${VOK_COMMIT_TIME} --build ${CMAKE_BINARY_DIR}
    --compiler ${CMAKE_CXX_COMPILER} --architecture ${VOK_PACKAGE_ARCHITECTURE} --stage \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}
    --output usr/share/doc/${package}/sbom.spdx.json ${folders} COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

# The package "vok"
set(product opt/mev/vok)
install(TARGETS vokd vokcli RUNTIME DESTINATION ${product}/bin COMPONENT agent EXCLUDE_FROM_ALL)
install(TARGETS vok LIBRARY DESTINATION ${product}/lib COMPONENT agent EXCLUDE_FROM_ALL)
foreach(directory data log)
  install(DIRECTORY DESTINATION ${product}/${directory} COMPONENT agent EXCLUDE_FROM_ALL
    DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
endforeach()
vok_put(agent ${product}/data data/esxtopconf)
vok_put(agent ${product}/share/vok data/vok-alerts.yml)
vok_put_link(agent usr/sbin/vokd /opt/mev/vok/bin/vokd)
vok_put_link(agent usr/bin/vokcli /opt/mev/vok/bin/vokcli)
install(FILES data/vok.conf DESTINATION etc/config/mev/vok COMPONENT agent EXCLUDE_FROM_ALL
  PERMISSIONS OWNER_READ OWNER_WRITE)
# The manual pages are where "man" finds them.
file(GLOB units CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/data data/*.service data/*.timer)
foreach(unit ${units})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS data/${unit})
  file(READ data/${unit} text)
  string(REGEX REPLACE "file:/opt/mev/vok/share/man/man[0-9]/([a-z.-]+)\\.([0-9])" "man:\\1(\\2)" text "${text}")
  file(WRITE ${package_files}/units/${unit} "${text}")
  vok_put(agent lib/systemd/system ${package_files}/units/${unit})
endforeach()
install(FILES data/dev-ipmi0.conf DESTINATION lib/systemd/system/dev-ipmi0.device.d RENAME vokd.conf
  COMPONENT agent EXCLUDE_FROM_ALL)
install(FILES data/vokd.rules DESTINATION usr/lib/udev/rules.d RENAME 60-vokd.rules COMPONENT agent EXCLUDE_FROM_ALL)
install(FILES data/vokd.tmpfiles.conf DESTINATION usr/lib/tmpfiles.d RENAME vokd.conf COMPONENT agent EXCLUDE_FROM_ALL)
install(FILES data/vokd.logrotate DESTINATION etc/logrotate.d RENAME vokd COMPONENT agent EXCLUDE_FROM_ALL)
foreach(page vokd.8 vokcli.8)
  vok_put_compressed(agent usr/share/man/man8 ${PROJECT_SOURCE_DIR}/docs/man/${page})
endforeach()
vok_put_compressed(agent usr/share/man/man5 ${PROJECT_SOURCE_DIR}/docs/man/vok.conf.5)
install(FILES data/completions/vok.bash DESTINATION usr/share/bash-completion/completions RENAME vokd
  COMPONENT agent EXCLUDE_FROM_ALL)
vok_put_link(agent usr/share/bash-completion/completions/vokcli vokd)
# Every page that is not for developers of the agent.
file(GLOB pages CONFIGURE_DEPENDS docs/*.md)
list(FILTER pages EXCLUDE REGEX "/(architecture|simhost|vmtest)\\.md$")
vok_put_documents(agent vok ${pages})
# Programs may read the schemas, and nothing may rely on the documents: a host may be without them.
vok_put(agent ${product}/share/vok/schema ${VOK_SCHEMAS})
vok_put_link(agent usr/share/doc/vok/schema /opt/mev/vok/share/vok/schema)
vok_put_notices(agent vok libcli11-dev pci.ids)
vok_put_sbom(agent vok src recording daemon client)

# The package "vok-simhost". In a folder of its own: its stand-ins have the names of the vendors' libraries, and may not come
# where the agent of a real host could find them.
set(simhost opt/mev/vok-simhost)
install(TARGETS vok-simhost vok-rmc vok-simcmd RUNTIME DESTINATION ${simhost}/bin COMPONENT simhost EXCLUDE_FROM_ALL)
set_target_properties(vok-simhost vok-hostaccess vok-replayaccess PROPERTIES INSTALL_RPATH "$ORIGIN/../../vok/lib")
get_property(stand_ins GLOBAL PROPERTY VOK_STAND_INS)
foreach(target ${stand_ins})
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "MODULE_LIBRARY")
    list(REMOVE_ITEM stand_ins ${target})
  endif()
endforeach()
install(TARGETS vok-hostaccess vok-replayaccess ${stand_ins} LIBRARY DESTINATION ${simhost}/lib COMPONENT simhost EXCLUDE_FROM_ALL)
install(DIRECTORY simhost/hosts simhost/scenarios DESTINATION ${simhost}/share/vok-simhost COMPONENT simhost EXCLUDE_FROM_ALL
  FILES_MATCHING PATTERN "*.json")
foreach(program vokd vokcli)  # where a scenario looks for them
  vok_put_link(simhost ${simhost}/bin/${program} ../../vok/bin/${program})
endforeach()
foreach(program vok-simhost vok-rmc)
  vok_put_link(simhost usr/bin/${program} /opt/mev/vok-simhost/bin/${program})
  vok_put_link(simhost usr/share/bash-completion/completions/${program} vokd)
  vok_put_compressed(simhost usr/share/man/man1 ${PROJECT_SOURCE_DIR}/docs/man/${program}.1)
endforeach()
vok_put_documents(simhost vok-simhost docs/simhost.md)
vok_put_notices(simhost vok-simhost libcli11-dev)
vok_put_sbom(simhost vok-simhost simhost recording)

include(${CMAKE_CURRENT_LIST_DIR}/VokDebian.cmake)
