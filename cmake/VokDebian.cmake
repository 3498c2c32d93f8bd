# What CPack is told of the packages.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vok)
set(CPACK_PACKAGE_VERSION ${VOK_PACKAGE_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL agent simhost)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${VOK_PACKAGE_VERSION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${VOK_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${VOK_PACKAGE_ARCHITECTURE})
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)

set(CPACK_DEBIAN_AGENT_PACKAGE_NAME vok)
set(CPACK_DEBIAN_AGENT_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_AGENT_DESCRIPTION "hardware inventory and health events for a rack management controller
vokd discovers the hardware of a large multi-chassis server: adapters,
storage controllers, disks and volumes. It sends the inventory and the
health events of the host to the rack management controller, through the
IPMI device. vokcli raises test events and events of a person's own.
.
This package contains the daemon, its library, and the client.")
set(CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS procps)  # kill, for "systemctl reload"
set(CPACK_DEBIAN_AGENT_PACKAGE_RECOMMENDS "kmod, logrotate")
set(CPACK_DEBIAN_AGENT_PACKAGE_SUGGESTS "mdadm, vok-simhost")
set(CPACK_DEBIAN_AGENT_PACKAGE_CONTROL_EXTRA
  ${packaging}/conffiles ${packaging}/preinst ${packaging}/postinst ${packaging}/prerm ${packaging}/postrm)

set(CPACK_DEBIAN_SIMHOST_PACKAGE_NAME vok-simhost)
set(CPACK_DEBIAN_SIMHOST_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_SIMHOST_DESCRIPTION "simulated host and management controller for the vok agent
vok-simhost is a whole host: the files, commands, clock, disks and devices
that the agent asks. vok-rmc is its rack management controller: it receives
inventories and events and checks every byte of the protocol.
.
This package contains both, described hosts, and scenarios. Nothing outside
the simulated host's directory is changed.")
# The module that the agent loads has to be of its ABI and of its build.
set(CPACK_DEBIAN_SIMHOST_PACKAGE_DEPENDS "vok (= ${VOK_PACKAGE_VERSION})")

include(CPack)
