# protobuf_c_schema(TARGET DIR NAME...): an object library of the code generated from DIR/NAME.proto.

function(protobuf_c_schema target dir)
  set(out ${CMAKE_CURRENT_BINARY_DIR}/generated)
  file(MAKE_DIRECTORY ${out})
  list(TRANSFORM ARGN PREPEND ${dir}/ OUTPUT_VARIABLE protos)
  list(TRANSFORM protos APPEND .proto)
  set(sources ${ARGN})
  list(TRANSFORM sources PREPEND ${out}/)
  set(headers ${sources})
  list(TRANSFORM sources APPEND .pb-c.c)
  list(TRANSFORM headers APPEND .pb-c.h)
  add_custom_command(
    OUTPUT ${sources} ${headers}
    COMMAND ${PROTOC_C} -I ${dir} -I ${TREL_CAP_PROTOBUF_C_IMPORTS} -I ${TREL_CAP_PROTOBUF_IMPORTS} --c_out=${out} ${protos}
    DEPENDS ${protos}
    COMMENT "Generating the record types"
    VERBATIM)
  add_library(${target} OBJECT ${sources} ${headers})
  target_link_libraries(${target} PRIVATE trel_cap_language PUBLIC PkgConfig::protobuf_c)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${out}>)
  set_target_properties(${target} PROPERTIES C_VISIBILITY_PRESET default PUBLIC_HEADER "${headers}")
endfunction()
