# cmake -D NM=... -D LIBRARY=... -D LIST=... -P exports.cmake: the library exports what the list names, nothing else.
#
# A line of the list is a name, `message NAME` or `enum NAME`: what is generated for a record type of that name.
cmake_minimum_required(VERSION 3.25)

set(of_message
    descriptor
    init
    get_packed_size
    pack
    pack_to_buffer
    unpack
    free_unpacked)

file(STRINGS ${LIST} lines REGEX "^[a-z]")
foreach(line IN LISTS lines)
  if(line MATCHES "^message ([a-z0-9_]+)$")
    list(TRANSFORM of_message PREPEND ${CMAKE_MATCH_1}__ OUTPUT_VARIABLE generated)
    list(APPEND expected ${generated})
  elseif(line MATCHES "^enum ([a-z0-9_]+)$")
    list(APPEND expected ${CMAKE_MATCH_1}__descriptor)
  elseif(line MATCHES "^[a-z0-9_]+$")
    list(APPEND expected ${line})
  else()
    message(SEND_ERROR "not understood in ${LIST}: ${line}")
  endif()
endforeach()

execute_process(
  COMMAND ${NM} --dynamic --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE listing
  COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "\n$" "" listing "${listing}")
string(REPLACE "\n" ";" symbols "${listing}")
foreach(symbol IN LISTS symbols)
  string(REGEX REPLACE "[ @].*" "" name "${symbol}")
  if(NOT name MATCHES "^[A-Z0-9_]+$") # a version's own symbol
    list(APPEND exported ${name})
    if(NOT symbol MATCHES "^[^ ]+@@[A-Z0-9_]+ ")
      message(SEND_ERROR "exported without a version: ${name}")
    endif()
  endif()
endforeach()

set(missing ${expected})
list(REMOVE_ITEM missing ${exported})
foreach(name IN LISTS missing)
  message(SEND_ERROR "part of the interface, but not exported: ${name}")
endforeach()
set(extra ${exported})
list(REMOVE_ITEM extra ${expected})
foreach(name IN LISTS extra)
  message(SEND_ERROR "exported, but no part of the interface: ${name}")
endforeach()
list(LENGTH exported count)
message(STATUS "${count} exported names")
