# Included by ctest, with what trel_cap_gtest() has set: makes a test of each suite of a program, so that its tests share
# a process, and one of each test of those suites whose tests each need a process of their own.
#
# SUITES_PROGRAM, SUITES_EMULATOR, SUITES_LIST (a file that keeps what the program lists), SUITES_LABEL, SUITES_TIMEOUT,
# SUITES_APART (the suites whose tests stay apart)

cmake_policy(VERSION 3.25)

function(add_gtest name filter)
  add_test("${SUITES_LABEL}.${name}" ${SUITES_EMULATOR} "${SUITES_PROGRAM}" "--gtest_filter=${filter}")
  get_filename_component(directory "${SUITES_PROGRAM}" DIRECTORY)
  set_tests_properties(
    "${SUITES_LABEL}.${name}" PROPERTIES
    WORKING_DIRECTORY "${directory}"
    LABELS ${SUITES_LABEL}
    TIMEOUT ${SUITES_TIMEOUT}
    SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]")
endfunction()

if(NOT EXISTS "${SUITES_PROGRAM}")
  add_test("${SUITES_PROGRAM}_NOT_BUILT" "${SUITES_PROGRAM}_NOT_BUILT")
  return()
endif()

if("${SUITES_PROGRAM}" IS_NEWER_THAN "${SUITES_LIST}")
  execute_process(
    COMMAND ${SUITES_EMULATOR} "${SUITES_PROGRAM}" --gtest_list_tests
    OUTPUT_FILE "${SUITES_LIST}" COMMAND_ERROR_IS_FATAL ANY)
endif()

file(STRINGS "${SUITES_LIST}" lines)
foreach(line IN LISTS lines)
  if(line MATCHES "^([A-Za-z0-9_/]+)\\.($|  #)")
    set(suite "${CMAKE_MATCH_1}")
    string(REGEX REPLACE "^[^/]*/([A-Za-z])" "\\1" fixture "${suite}") # Kinds/Dispatch is a suite of Dispatch
    if(NOT fixture IN_LIST SUITES_APART)
      add_gtest("${suite}" "${suite}.*")
    endif()
  elseif(line MATCHES "^  ([A-Za-z0-9_/]+)($|  #)" AND fixture IN_LIST SUITES_APART)
    add_gtest("${suite}.${CMAKE_MATCH_1}" "${suite}.${CMAKE_MATCH_1}")
  endif()
endforeach()
