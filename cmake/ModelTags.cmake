# The tags that the models write at their elements: the one place that has them beside the program.

# NAME=HASH of each tag in the models of a folder: it stands first in its element.
function(read_model_tags result folder)
  file(GLOB models "${folder}/*.yang")
  foreach(model IN LISTS models)
    file(READ "${model}" text)
    string(REGEX MATCHALL
           "(leaf|leaf-list|list|container) [A-Za-z0-9_-]+ {|p:tag \"0x[0-9A-F]+\"" found "${text}")
    foreach(part IN LISTS found)
      if(part MATCHES "^p:tag \"(.*)\"")
        list(APPEND pairs "${name}=${CMAKE_MATCH_1}")
      elseif(part MATCHES " ([^ ]+) {")
        set(name "${CMAKE_MATCH_1}")
      endif()
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES pairs)
  set(${result} "${pairs}" PARENT_SCOPE)
endfunction()

# Writes the tags of a folder's models into a header, for who cannot read the models. A change of
# one of them has the build configured anew.
function(write_model_tags header folder)
  read_model_tags(pairs "${folder}")
  set(rows "")
  foreach(pair IN LISTS pairs)
    string(REGEX REPLACE "^(.*)=(.*)$" "    {\"\\1\", \\2},\n" row "${pair}")
    string(APPEND rows "${row}")
  endforeach()
  file(GLOB models CONFIGURE_DEPENDS "${folder}/*.yang")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${models})
  file(CONFIGURE OUTPUT "${header}" @ONLY CONTENT "// Made of the models by cmake/ModelTags.cmake.
#pragma once

#include <cstdint>
#include <utility>

/// Name and hash of each element that has a tag in the models.
constexpr std::pair<const char*, uint32_t> kModelTags[] = {
@rows@};
")
endfunction()
