# GoogleTest: the system's libraries, or for another architecture the system's sources.
if(SNMP_APP_32BIT)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)

# One test program of the sources given; each of its tests runs in a process of its own. Nothing is
# measured in it, so it is not optimised. APART names the sources whose own names clash with others'
# in a unity batch.
function(add_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;APART")
  add_executable(${name} ${arg_SOURCES} ${arg_APART})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock_main project_options)
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O0>)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ${SNMP_APP_UNITY_TESTS}
                                           UNITY_BUILD_BATCH_SIZE 9)
  set_source_files_properties(${arg_APART} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60)
endfunction()
