# The zlog library where the system has it. Elsewhere our own declaration of the calls that we
# make, which the platform then serves.
add_library(zlog INTERFACE)
find_path(ZLOG_INCLUDE_DIR zlog.h HINTS ${DEVICE_DIR}/include)
find_library(ZLOG_LIBRARY zlog HINTS ${DEVICE_DIR}/lib)
if(ZLOG_INCLUDE_DIR AND ZLOG_LIBRARY)
  set(HAVE_ZLOG ON)
  target_include_directories(zlog SYSTEM INTERFACE ${ZLOG_INCLUDE_DIR})
  target_link_libraries(zlog INTERFACE ${ZLOG_LIBRARY})
else()
  set(HAVE_ZLOG OFF)
  target_include_directories(zlog INTERFACE ${CMAKE_SOURCE_DIR}/platform/api/zlog)
endif()
message(STATUS "zlog: ${HAVE_ZLOG}")
