# What "cmake --install" brings. All of it lies below the prefix, and what belongs to the host's services lies in "etc" there as
# it does in /etc; docs/operation.md has the commands that link it. The modes do not depend on the umask of who installs.

# Directories that are missing are made here: where install() makes one for a file, it leaves its mode to the umask.
install(CODE [[
  function(vok_make_directory path)
    if(EXISTS "${path}")
      return()
    endif()
    cmake_path(GET path PARENT_PATH parent)
    vok_make_directory("${parent}")
    file(MAKE_DIRECTORY "${path}")
    file(CHMOD "${path}" PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endfunction()
  foreach(directory bin lib share/man/man5 share/man/man8 share/vok/schema etc/systemd/system/dev-ipmi0.device.d
      etc/udev/rules.d etc/tmpfiles.d etc/logrotate.d)
    vok_make_directory("$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${directory}")
  endforeach()
]])

install(TARGETS vokd vokcli RUNTIME DESTINATION bin)
install(TARGETS vok LIBRARY DESTINATION lib)
install(FILES docs/man/vokd.8 docs/man/vokcli.8 DESTINATION share/man/man8)
install(FILES docs/man/vok.conf.5 DESTINATION share/man/man5)
# An example: the settings in use lie outside the prefix, and no installation changes them.
install(FILES data/vok.conf DESTINATION share/vok)
# For the Prometheus that watches the hosts, which is another machine.
install(FILES data/vok-alerts.yml DESTINATION share/vok)
file(GLOB VOK_SCHEMAS CONFIGURE_DEPENDS docs/schema/*)
install(FILES ${VOK_SCHEMAS} DESTINATION share/vok/schema)

install(FILES data/vokd.service data/vok-metrics.service data/vok-metrics.timer DESTINATION etc/systemd/system)
install(FILES data/dev-ipmi0.conf DESTINATION etc/systemd/system/dev-ipmi0.device.d RENAME vokd.conf)
install(FILES data/vokd.rules DESTINATION etc/udev/rules.d RENAME 60-vokd.rules)
install(FILES data/vokd.tmpfiles.conf DESTINATION etc/tmpfiles.d RENAME vokd.conf)
install(FILES data/vokd.logrotate DESTINATION etc/logrotate.d RENAME vokd)

# The agent's working folders, which it would also make itself, and the one file that it only reads there.
set(private_directory OWNER_READ OWNER_WRITE OWNER_EXECUTE)
install(DIRECTORY DESTINATION data DIRECTORY_PERMISSIONS ${private_directory})
install(DIRECTORY DESTINATION log DIRECTORY_PERMISSIONS ${private_directory})
install(FILES data/esxtopconf DESTINATION data)
