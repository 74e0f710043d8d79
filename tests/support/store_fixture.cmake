# store_fixture: private Redis servers and tests over every store.

include_guard(GLOBAL)

include(${CMAKE_CURRENT_LIST_DIR}/private_directory.cmake)

add_library(store_fixture STATIC ${CMAKE_CURRENT_LIST_DIR}/redis_connection.cpp
                                 ${CMAKE_CURRENT_LIST_DIR}/redis_server.cpp
                                 ${CMAKE_CURRENT_LIST_DIR}/sentinel_servers.cpp
                                 ${CMAKE_CURRENT_LIST_DIR}/store_fixture.cpp)
target_include_directories(store_fixture PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(
  store_fixture
  PUBLIC private_directory GTest::gtest PkgConfig::hiredis platform_headers $<IF:$<TARGET_EXISTS:ox_mom>,ox_mom,platform>
  PRIVATE trel_cap_warnings)
# A source, so that it is in every program whoever calls it.
target_sources(store_fixture INTERFACE ${CMAKE_CURRENT_LIST_DIR}/own_console.cpp)
