# cmake -D NM=... -D LIBRARY=... -P exports.cmake: the library exports its own names and those of its records only.
cmake_minimum_required(VERSION 3.25)

execute_process(
  COMMAND ${NM} --dynamic --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE listing
  COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "\n$" "" listing "${listing}")
string(REPLACE "\n" ";" lines "${listing}")

set(own "trel_cap_[a-z0-9_]+|g_trel_[a-z0-9_]+|cap_nodes_list")
set(records "(app_df_card|cap|card)_[a-z_]*[a-z]__[a-z_]+")
set(version "TREL_CAP_[0-9]+")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "[ @].*" "" name "${line}")
  list(APPEND names ${name})
  if(NOT name MATCHES "^(${own}|${records}|${version})$")
    message(SEND_ERROR "exported, but no part of the interface: ${name}")
  endif()
endforeach()
if(NOT "trel_cap_init" IN_LIST names)
  message(SEND_ERROR "nothing to be seen of the library's exports")
endif()
