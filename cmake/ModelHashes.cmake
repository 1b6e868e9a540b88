# Holds the hashes that the program and the fake have against the models', which are the source.
#
#   cmake -DMODELS=FOLDER -DNAMES=confd_names.h -DFAKE=fake_tags.cpp -P ModelHashes.cmake
#
# Ends with an error that names the elements, or the hashes of namespaces, that differ.
cmake_minimum_required(VERSION 3.18)

# An element's name as all three have it: "udp-port" and kUdpPort are "udpport".
function(plain_name result name)
  string(REPLACE "-" "" name "${name}")
  string(TOLOWER "${name}" name)
  set(${result} "${name}" PARENT_SCOPE)
endfunction()

# NAME=HASH of each tag in the models: it stands first in its element.
function(read_model_tags result)
  file(GLOB models "${MODELS}/*.yang")
  foreach(model IN LISTS models)
    file(READ "${model}" text)
    string(REGEX MATCHALL
           "(leaf|leaf-list|list|container) [A-Za-z0-9_-]+ {|p:tag \"0x[0-9A-F]+\"" found "${text}")
    foreach(part IN LISTS found)
      if(part MATCHES "^p:tag \"(.*)\"")
        list(APPEND pairs "${name}=${CMAKE_MATCH_1}")
      elseif(part MATCHES " ([^ ]+) {")
        plain_name(name "${CMAKE_MATCH_1}")
      endif()
    endforeach()
  endforeach()
  set(${result} "${pairs}" PARENT_SCOPE)
endfunction()

# The same of a source file; `pattern` has groups for name and hash.
function(read_source_tags result file pattern)
  file(READ "${file}" text)
  string(REGEX MATCHALL "${pattern}" found "${text}")
  foreach(part IN LISTS found)
    string(REGEX MATCH "${pattern}" part "${part}")
    plain_name(name "${CMAKE_MATCH_1}")
    list(APPEND pairs "${name}=${CMAKE_MATCH_2}")
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

read_model_tags(model_tags)
read_source_tags(program_tags "${NAMES}" "uint32_t k([A-Za-z0-9]+) = (0x[0-9A-F]+)")
read_source_tags(fake_tags "${FAKE}" "Define\\(\"([A-Za-z0-9_-]+)\", (0x[0-9A-F]+)\\)")
expect_same("tags" "${model_tags}" "${program_tags}" "${NAMES}")
expect_same("tags" "${model_tags}" "${fake_tags}" "${FAKE}")

file(GLOB models "${MODELS}/*.yang")
read_hashes(model_namespaces "p:namespace-hash \"0x[0-9A-F]+\"" ${models})
read_hashes(program_namespaces "[^u]int32_t k[A-Za-z0-9]+ = 0x[0-9A-F]+" "${NAMES}")
expect_same("hashes of namespaces" "${model_namespaces}" "${program_namespaces}" "${NAMES}")
