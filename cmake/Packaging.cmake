# What is installed besides the program, and the Debian packages of it all: snmp-app, of the
# component daemon, and snmp-app-netconf, of the component netconf.
if(NOT PLATFORM STREQUAL "host")
  return()
endif()

install(DIRECTORY yang/ DESTINATION share/snmp-app/yang FILES_MATCHING PATTERN "*.yang")

# Debian has its documents compressed, without a name and a time inside.
function(install_compressed source name)
  set(compressed ${CMAKE_BINARY_DIR}/packaging/${name}.gz)
  add_custom_command(
    OUTPUT ${compressed}
    COMMAND gzip -9n < ${CMAKE_SOURCE_DIR}/packaging/${source} > ${compressed}
    DEPENDS ${CMAKE_SOURCE_DIR}/packaging/${source}
    VERBATIM)
  set_property(TARGET package_documents APPEND PROPERTY SOURCES ${compressed})
  install(FILES ${compressed} ${ARGN})
endfunction()

file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packaging)
add_custom_target(package_documents ALL)
install_compressed(man/snmp-app.8 snmp-app.8 DESTINATION share/man/man8)
install_compressed(man/snmp-app-show.1 snmp-app-show.1 DESTINATION share/man/man1)
install_compressed(man/snmp-app-startup.json.5 snmp-app-startup.json.5 DESTINATION share/man/man5)

install(FILES packaging/completion/snmp-app packaging/completion/snmp-app-show
  DESTINATION share/bash-completion/completions)

# The unit file names /usr, and the program looks for its models below the prefix that it was
# configured with.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  message(STATUS "Package: off, CMAKE_INSTALL_PREFIX is not /usr")
  return()
endif()

install_compressed(changelog changelog.Debian DESTINATION share/doc/snmp-app)
install(FILES packaging/copyright DESTINATION share/doc/snmp-app)
install(FILES packaging/examples/startup.json DESTINATION share/doc/snmp-app/examples)
install(FILES packaging/snmp-app.service DESTINATION lib/systemd/system)
install(FILES packaging/50-snmp-app.conf DESTINATION lib/systemd/networkd.conf.d)
install(FILES packaging/snmp-app-sysusers.conf DESTINATION lib/sysusers.d RENAME snmp-app.conf)
install(FILES packaging/snmp-app-sysctl.conf DESTINATION lib/sysctl.d RENAME 50-snmp-app.conf)
install(DIRECTORY DESTINATION /etc/snmp-app)

set(netconf_documents share/doc/snmp-app-netconf)
install(FILES ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz packaging/copyright
        DESTINATION ${netconf_documents} COMPONENT netconf)
install(DIRECTORY packaging/examples/fleet DESTINATION ${netconf_documents}/examples
        COMPONENT netconf)
# postinst links it into sshd's folder where sshd takes it.
install(FILES packaging/sshd-netconf.conf DESTINATION share/snmp-app COMPONENT netconf)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL daemon netconf)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 2)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "snmp-app maintainers <maintainers@snmp-app.example.org>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Each package's description has its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME snmp-app)
set(CPACK_DEBIAN_DAEMON_PACKAGE_SECTION net)
set(CPACK_COMPONENT_DAEMON_DESCRIPTION
    "SNMP service true to its configuration
The SNMP agent listens at its configured address, at extra addresses and on
interfaces by name, in every VRF at once, while addresses and the configuration
change.")
# For the user, the folders and the settings that the maintainer scripts make.
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS systemd)
# The IETF's models, without which there is no NETCONF.
set(CPACK_DEBIAN_DAEMON_PACKAGE_RECOMMENDS "libyuma-base, snmp-app-netconf")
set(CPACK_DEBIAN_DAEMON_PACKAGE_SHLIBDEPS ON)
set(scripts preinst postinst prerm postrm)
list(TRANSFORM scripts PREPEND ${CMAKE_SOURCE_DIR}/packaging/)
set(CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_EXTRA ${scripts})

set(CPACK_DEBIAN_NETCONF_PACKAGE_NAME snmp-app-netconf)
set(CPACK_DEBIAN_NETCONF_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_NETCONF_PACKAGE_SECTION net)
set(CPACK_COMPONENT_NETCONF_DESCRIPTION
    "NETCONF over SSH for snmp-app
The system's SSH server leads to the daemon's NETCONF socket. With examples of
how many routers are given the same change.")
# Up to 0.1.0-1 its file was the daemon's.
set(CPACK_DEBIAN_NETCONF_PACKAGE_DEPENDS
    "libyuma-base, openssh-server, snmp-app (>= 0.1.0-2), socat")
set(CPACK_DEBIAN_NETCONF_PACKAGE_BREAKS "snmp-app (<< 0.1.0-2)")
set(CPACK_DEBIAN_NETCONF_PACKAGE_REPLACES "snmp-app (<< 0.1.0-2)")
set(scripts postinst prerm postrm)
list(TRANSFORM scripts PREPEND ${CMAKE_SOURCE_DIR}/packaging/netconf/)
set(CPACK_DEBIAN_NETCONF_PACKAGE_CONTROL_EXTRA ${scripts})
include(CPack)
