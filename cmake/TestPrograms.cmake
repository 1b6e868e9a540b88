# GoogleTest: the system's libraries, or for another architecture the system's sources.
if(SNMP_APP_32BIT)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)

# One test program of the sources given. Each of its tests runs in a process of its own (label test),
# and all of them run in one (label program), which leaves its account of them in programs/NAME.xml.
# WORDS go to the latter. Nothing is measured in a test program, so it is not optimised, and not
# fortified, which needs that. APART names the sources whose own names clash with others' in a unity
# batch.
function(add_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;APART;WORDS")
  add_executable(${name} ${arg_SOURCES} ${arg_APART})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock_main project_options)
  target_compile_options(${name} PRIVATE "$<$<NOT:$<CONFIG:Debug>>:-O0;-U_FORTIFY_SOURCE>")
  set_target_properties(${name} PROPERTIES UNITY_BUILD ${SNMP_APP_UNITY_TESTS}
                                           UNITY_BUILD_BATCH_SIZE 9)
  set_source_files_properties(${arg_APART} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60 PROPERTIES LABELS test)
  add_test(NAME ${name}.in_one_process
           COMMAND ${name} ${arg_WORDS} --gtest_output=xml:${CMAKE_BINARY_DIR}/programs/${name}.xml)
  set_tests_properties(${name}.in_one_process PROPERTIES LABELS program)
endfunction()
