# The zlog library where the system or the device has it, with its header in include/ or
# include/zlog/. Elsewhere our own declaration of the calls that we make, which the platform then
# serves. A device's folder is meant as it is given, also where a toolchain file has the rest found
# in a sysroot.
add_library(zlog INTERFACE)
if(NOT SNMP_APP_32BIT)
  if(DEVICE_DIR)
    find_path(ZLOG_INCLUDE_DIR zlog.h PATHS ${DEVICE_DIR}/include PATH_SUFFIXES zlog
              NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    find_library(ZLOG_LIBRARY zlog PATHS ${DEVICE_DIR}/lib NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  endif()
  find_path(ZLOG_INCLUDE_DIR zlog.h PATH_SUFFIXES zlog)
  find_library(ZLOG_LIBRARY zlog)
endif()
if(ZLOG_INCLUDE_DIR AND ZLOG_LIBRARY)
  set(HAVE_ZLOG ON)
  target_include_directories(zlog SYSTEM INTERFACE ${ZLOG_INCLUDE_DIR})
  target_link_libraries(zlog INTERFACE ${ZLOG_LIBRARY})
else()
  set(HAVE_ZLOG OFF)
  target_include_directories(zlog INTERFACE ${CMAKE_SOURCE_DIR}/platform/api/zlog)
endif()
message(STATUS "zlog: ${HAVE_ZLOG}")
