# The device's own libraries: DEVICE_DIR holds include/ and lib/.
if(NOT IS_DIRECTORY "${DEVICE_DIR}/include" OR NOT IS_DIRECTORY "${DEVICE_DIR}/lib")
  message(FATAL_ERROR "PLATFORM=device needs DEVICE_DIR, a folder with include/ and lib/; "
                      "it is \"${DEVICE_DIR}\"")
endif()
set(DEVICE_LIBRARIES vkconfd vkos vkmw iptools nettypes confd CACHE STRING "Names of the device's libraries")
foreach(name IN LISTS DEVICE_LIBRARIES)
  find_library(DEVICE_LIBRARY_${name} ${name} PATHS ${DEVICE_DIR}/lib NO_DEFAULT_PATH REQUIRED)
  target_link_libraries(platform_device INTERFACE ${DEVICE_LIBRARY_${name}})
endforeach()
target_link_options(platform_device INTERFACE -Wl,-rpath-link,${DEVICE_DIR}/lib)
