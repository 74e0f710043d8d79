# private_directory: a directory for a test.

include_guard(GLOBAL)

add_library(private_directory STATIC ${CMAKE_CURRENT_LIST_DIR}/private_directory.cpp)
target_include_directories(private_directory PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(private_directory PRIVATE trel_cap_warnings)
