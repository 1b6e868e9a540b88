# Compiles a handler's source with and without headers of a platform, with the include folders of
# the program. Arguments: COMPILER, INCLUDE_FOLDERS, SOURCE_FOLDER.
cmake_minimum_required(VERSION 3.25)

list(REMOVE_ITEM INCLUDE_FOLDERS "")
list(TRANSFORM INCLUDE_FOLDERS PREPEND -I)

# Sets `result` to the compiler's exit status and `output` to what it says of a handler with the
# lines given in front.
function(compile_handler lines)
  file(READ ${CMAKE_CURRENT_LIST_DIR}/handler.cpp.in handler)
  set(source ${lines}\n${handler})
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E echo "${source}"
    COMMAND ${COMPILER} -std=c++17 ${INCLUDE_FOLDERS} -fsyntax-only -x c++ -
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  set(result ${result} PARENT_SCOPE)
  set(output "${output}" PARENT_SCOPE)
endfunction()

compile_handler("")
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the handler does not compile without a platform's header:\n${output}")
endif()

# Every header of the platforms and of what they share, as their own sources name them.
set(headers)
foreach(platform common fake host)
  file(GLOB_RECURSE found RELATIVE ${SOURCE_FOLDER}/platform/${platform}
       ${SOURCE_FOLDER}/platform/${platform}/*.h)
  if(NOT found)
    message(FATAL_ERROR "no headers in platform/${platform}")
  endif()
  list(APPEND headers ${found})
  list(GET found 0 example)
  compile_handler("#include \"${example}\"")
  if(result EQUAL 0)
    message(FATAL_ERROR "a handler that includes ${example} of platform/${platform} compiles")
  elseif(NOT output MATCHES "${example}: No such file or directory")
    message(FATAL_ERROR "the handler fails for another reason than ${example}:\n${output}")
  endif()
endforeach()

set(checks)
foreach(header IN LISTS headers)
  string(APPEND checks "#if __has_include(\"${header}\")\n#error ${header} is seen\n#endif\n")
endforeach()
compile_handler("${checks}")
if(NOT result EQUAL 0)
  message(FATAL_ERROR "a handler sees headers of a platform:\n${output}")
endif()

# Nor may a source of the program go around its include folders.
file(GLOB_RECURSE sources ${SOURCE_FOLDER}/include/app/* ${SOURCE_FOLDER}/src/app/*)
foreach(source IN LISTS sources)
  file(STRINGS ${source} detours REGEX "#include *[\"<](\\.\\.|/|platform/)")
  if(detours)
    message(FATAL_ERROR "${source}: ${detours}")
  endif()
endforeach()

list(LENGTH headers count)
message(STATUS "${count} headers of platforms are not seen by the program")
