# Holds the hashes that the program has against the models', which are the source.
#
#   cmake -DMODELS=FOLDER -DNAMES=confd_names.h -P ModelHashes.cmake
#
# Ends with an error that names the elements, or the hashes of namespaces, that differ.
cmake_minimum_required(VERSION 3.18)
include(${CMAKE_CURRENT_LIST_DIR}/ModelTags.cmake)

# The pairs with their names as both have them: "udp-port" and kUdpPort are "udpport".
function(plain_names result)
  foreach(pair IN LISTS ARGN)
    string(REGEX MATCH "^(.*)(=.*)$" pair "${pair}")
    string(REPLACE "-" "" name "${CMAKE_MATCH_1}")
    string(TOLOWER "${name}" name)
    list(APPEND plain "${name}${CMAKE_MATCH_2}")
  endforeach()
  set(${result} "${plain}" PARENT_SCOPE)
endfunction()

# NAME=HASH of each constant in a source file; `pattern` has groups for name and hash.
function(read_source_tags result file pattern)
  file(READ "${file}" text)
  string(REGEX MATCHALL "${pattern}" found "${text}")
  foreach(part IN LISTS found)
    string(REGEX MATCH "${pattern}" part "${part}")
    list(APPEND pairs "${CMAKE_MATCH_1}=${CMAKE_MATCH_2}")
  endforeach()
  set(${result} "${pairs}" PARENT_SCOPE)
endfunction()

function(read_hashes result pattern)
  foreach(file IN LISTS ARGN)
    file(READ "${file}" text)
    string(REGEX MATCHALL "${pattern}" found "${text}")
    foreach(part IN LISTS found)
      string(REGEX MATCH "0x[0-9A-F]+" hash "${part}")
      list(APPEND hashes "${hash}")
    endforeach()
  endforeach()
  set(${result} "${hashes}" PARENT_SCOPE)
endfunction()

function(expect_same what models others file)
  if(NOT models OR NOT others)
    message(FATAL_ERROR "no ${what} found in ${MODELS} or ${file}")
  endif()
  set(missing ${models})
  set(foreign ${others})
  list(REMOVE_DUPLICATES missing)
  list(REMOVE_DUPLICATES foreign)
  list(REMOVE_ITEM missing ${others})
  list(REMOVE_ITEM foreign ${models})
  if(missing OR foreign)
    message(FATAL_ERROR "${what} differ: only the models have [${missing}], only ${file} has "
                        "[${foreign}]")
  endif()
endfunction()

read_model_tags(model_tags "${MODELS}")
read_source_tags(program_tags "${NAMES}" "uint32_t k([A-Za-z0-9]+) = (0x[0-9A-F]+)")
plain_names(model_tags ${model_tags})
plain_names(program_tags ${program_tags})
expect_same("tags" "${model_tags}" "${program_tags}" "${NAMES}")

file(GLOB models "${MODELS}/*.yang")
read_hashes(model_namespaces "p:namespace-hash \"0x[0-9A-F]+\"" ${models})
read_hashes(program_namespaces "[^u]int32_t k[A-Za-z0-9]+ = 0x[0-9A-F]+" "${NAMES}")
expect_same("hashes of namespaces" "${model_namespaces}" "${program_namespaces}" "${NAMES}")
