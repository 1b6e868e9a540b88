# Platforms by name. A platform is a folder whose CMakeLists.txt makes the target platform_NAME,
# NAME being the folder's own name, for the daemon to link. One that brings its own headers in
# place of platform/api also makes platform_NAME_api, which has their folders. Objects of a library
# platform_NAME_program go into the daemon alone.

# The name and the folder of PLATFORM: a folder of platform/, or one elsewhere by its absolute path.
function(find_platform name_variable folder_variable)
  cmake_path(ABSOLUTE_PATH PLATFORM BASE_DIRECTORY ${CMAKE_SOURCE_DIR}/platform NORMALIZE
             OUTPUT_VARIABLE folder)
  string(REGEX REPLACE "/$" "" folder "${folder}")
  cmake_path(GET folder FILENAME name)
  if(NOT IS_ABSOLUTE "${PLATFORM}" AND NOT PLATFORM STREQUAL name)
    message(FATAL_ERROR "PLATFORM is \"${PLATFORM}\": not the name of a folder of platform/, and "
                        "a folder elsewhere is given by its absolute path")
  endif()
  if(NOT EXISTS ${folder}/CMakeLists.txt)
    file(GLOB known RELATIVE ${CMAKE_SOURCE_DIR}/platform ${CMAKE_SOURCE_DIR}/platform/*/CMakeLists.txt)
    list(TRANSFORM known REPLACE "/CMakeLists.txt" "")
    list(REMOVE_ITEM known common)
    list(JOIN known ", " known)
    message(FATAL_ERROR "PLATFORM is \"${PLATFORM}\": there is no ${folder}/CMakeLists.txt; the "
                        "tree has ${known}, a folder elsewhere is given by its absolute path")
  endif()
  if(TARGET platform_${name} OR TARGET platform_${name}_api)
    message(FATAL_ERROR "PLATFORM is \"${PLATFORM}\": platform_${name} is a target of the tree "
                        "and no platform")
  endif()
  set(${name_variable} ${name} PARENT_SCOPE)
  set(${folder_variable} ${folder} PARENT_SCOPE)
endfunction()

# Adds the folder, and makes `platform` the name of its target and platform_api its declarations.
function(add_platform name folder)
  add_subdirectory(${folder} ${CMAKE_BINARY_DIR}/platform/${name})
  if(NOT TARGET platform_${name})
    message(FATAL_ERROR "PLATFORM is \"${PLATFORM}\": ${folder}/CMakeLists.txt makes no target "
                        "platform_${name}")
  endif()
  add_library(platform ALIAS platform_${name})
  if(TARGET platform_${name}_api)
    target_link_libraries(platform_api INTERFACE platform_${name}_api)
  else()
    target_include_directories(platform_api INTERFACE ${CMAKE_SOURCE_DIR}/platform/api)
  endif()
endfunction()
