# What is installed besides the program, and the Debian package of it all.
if(NOT PLATFORM STREQUAL "host")
  return()
endif()

install(DIRECTORY yang/ DESTINATION share/snmp-app/yang FILES_MATCHING PATTERN "*.yang")

# Debian has its documents compressed, without a name and a time inside.
function(install_compressed source name destination)
  set(compressed ${CMAKE_BINARY_DIR}/packaging/${name}.gz)
  add_custom_command(
    OUTPUT ${compressed}
    COMMAND gzip -9n < ${CMAKE_SOURCE_DIR}/packaging/${source} > ${compressed}
    DEPENDS ${CMAKE_SOURCE_DIR}/packaging/${source}
    VERBATIM)
  set_property(TARGET package_documents APPEND PROPERTY SOURCES ${compressed})
  install(FILES ${compressed} DESTINATION ${destination})
endfunction()

file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packaging)
add_custom_target(package_documents ALL)
install_compressed(man/snmp-app.8 snmp-app.8 share/man/man8)
install_compressed(man/snmp-app-show.1 snmp-app-show.1 share/man/man1)
install_compressed(man/snmp-app-startup.json.5 snmp-app-startup.json.5 share/man/man5)

install(FILES packaging/completion/snmp-app packaging/completion/snmp-app-show
  DESTINATION share/bash-completion/completions)

# The unit file names /usr, and the program looks for its models below the prefix that it was
# configured with.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  message(STATUS "Package: off, CMAKE_INSTALL_PREFIX is not /usr")
  return()
endif()

install_compressed(changelog changelog.Debian share/doc/snmp-app)
install(FILES packaging/copyright DESTINATION share/doc/snmp-app)
install(FILES packaging/examples/startup.json DESTINATION share/doc/snmp-app/examples)
# postinst links it into sshd's folder where sshd takes it.
install(FILES packaging/sshd-netconf.conf DESTINATION share/snmp-app)
install(FILES packaging/snmp-app.service DESTINATION lib/systemd/system)
install(FILES packaging/50-snmp-app.conf DESTINATION lib/systemd/networkd.conf.d)
install(FILES packaging/snmp-app-sysusers.conf DESTINATION lib/sysusers.d RENAME snmp-app.conf)
install(FILES packaging/snmp-app-sysctl.conf DESTINATION lib/sysctl.d RENAME 50-snmp-app.conf)
install(DIRECTORY DESTINATION /etc/snmp-app)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "snmp-app maintainers <root@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "The SNMP agent listens at its configured address, at extra addresses and on
interfaces by name, in every VRF at once, while addresses and the configuration
change.")
# For the user, the folders and the settings that the maintainer scripts make.
set(CPACK_DEBIAN_PACKAGE_DEPENDS systemd)
# The IETF's models, without which there is no NETCONF, and what it needs to be reached by SSH.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libyuma-base, openssh-server, socat")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_SOURCE_DIR}/packaging/postinst ${CMAKE_SOURCE_DIR}/packaging/prerm
    ${CMAKE_SOURCE_DIR}/packaging/postrm)
include(CPack)
