# Everything comes installed; nothing is fetched. What is missing is told at once, and where it is to be had.

# trel_cap_needs(FOUND NAME DEBIAN_PACKAGE HOME): remembers what is missing, unless the variable FOUND is true.
function(trel_cap_needs found name debian_package home)
  if(NOT ${found})
    set_property(GLOBAL APPEND_STRING PROPERTY trel_cap_missing
                                               "\n  ${name}: Debian package ${debian_package}, or ${home}")
  endif()
endfunction()

function(trel_cap_stop_if_missing)
  get_property(missing GLOBAL PROPERTY trel_cap_missing)
  if(missing)
    message(FATAL_ERROR "trel_cap needs what is not found here:${missing}\nOn Debian 12 and 13, `./dev "
                        "install-dependencies` installs what the product needs. What lies in a place of its own is "
                        "found through PKG_CONFIG_PATH and CMAKE_PREFIX_PATH.\n")
  endif()
endfunction()

find_package(Threads REQUIRED)
find_package(PkgConfig QUIET)
trel_cap_needs(PkgConfig_FOUND pkg-config pkgconf "http://pkgconf.org")
trel_cap_stop_if_missing() # nothing else is found without it

pkg_check_modules(protobuf_c QUIET IMPORTED_TARGET libprotobuf-c>=1.4)
trel_cap_needs(protobuf_c_FOUND "libprotobuf-c 1.4" libprotobuf-c-dev https://github.com/protobuf-c/protobuf-c)
find_program(PROTOC_C protoc-c)
trel_cap_needs(PROTOC_C protoc-c protobuf-c-compiler https://github.com/protobuf-c/protobuf-c)
# What the record types import is read by a program of the machine that builds.
find_path(TREL_CAP_PROTOBUF_C_IMPORTS protobuf-c/protobuf-c.proto NO_CMAKE_FIND_ROOT_PATH)
trel_cap_needs(TREL_CAP_PROTOBUF_C_IMPORTS protobuf-c.proto libprotobuf-c-dev
               https://github.com/protobuf-c/protobuf-c)
find_path(TREL_CAP_PROTOBUF_IMPORTS google/protobuf/descriptor.proto NO_CMAKE_FIND_ROOT_PATH)
trel_cap_needs(TREL_CAP_PROTOBUF_IMPORTS "protobuf's descriptor.proto" libprotobuf-dev
               https://github.com/protocolbuffers/protobuf)

foreach(library IN LISTS TREL_CAP_PLATFORM_LIBRARIES)
  string(REGEX REPLACE "^-L" "" place "${library}")
  if(place MATCHES " " AND NOT EXISTS "${place}")
    message(FATAL_ERROR "TREL_CAP_PLATFORM_LIBRARIES is separated by semicolons, not by blanks: ${library}")
  endif()
endforeach()
if(TREL_CAP_PLATFORM_LIBRARIES)
  set(TREL_CAP_USES_OWN_PLATFORM OFF)
elseif(TREL_CAP_PLATFORM_INCLUDE_DIRS)
  message(FATAL_ERROR "TREL_CAP_PLATFORM_INCLUDE_DIRS names another platform's headers, and no TREL_CAP_PLATFORM_LIBRARIES its libraries")
else()
  set(TREL_CAP_USES_OWN_PLATFORM ON)
endif()

if(TREL_CAP_USES_OWN_PLATFORM OR TREL_CAP_BUILD_TESTS)
  pkg_check_modules(hiredis QUIET IMPORTED_TARGET hiredis>=0.14)
  trel_cap_needs(hiredis_FOUND "hiredis 0.14" libhiredis-dev https://github.com/redis/hiredis)
endif()
if(TREL_CAP_BUILD_TESTS)
  find_package(GTest QUIET)
  trel_cap_needs(GTest_FOUND "GoogleTest with GoogleMock" libgmock-dev https://github.com/google/googletest)
endif()

if(TREL_CAP_USES_OWN_PLATFORM)
  pkg_check_modules(libffi QUIET IMPORTED_TARGET libffi)
  trel_cap_needs(libffi_FOUND libffi libffi-dev https://sourceware.org/libffi)
  pkg_check_modules(libedit QUIET IMPORTED_TARGET libedit)
  trel_cap_needs(libedit_FOUND libedit libedit-dev https://thrysoee.dk/editline)
  find_package(CLI11 2.1 QUIET)
  trel_cap_needs(CLI11_FOUND "CLI11 2.1" libcli11-dev https://github.com/CLIUtils/CLI11)
  pkg_check_modules(libmicrohttpd QUIET IMPORTED_TARGET libmicrohttpd>=0.9.75)
  trel_cap_needs(libmicrohttpd_FOUND "libmicrohttpd 0.9.75" libmicrohttpd-dev https://www.gnu.org/software/libmicrohttpd)
  find_package(nlohmann_json 3.7 QUIET)
  trel_cap_needs(nlohmann_json_FOUND "nlohmann_json 3.7" nlohmann-json3-dev https://json.nlohmann.me)
  pkg_check_modules(yaml_cpp QUIET IMPORTED_TARGET yaml-cpp>=0.6.2)
  trel_cap_needs(yaml_cpp_FOUND "yaml-cpp 0.6.2" libyaml-cpp-dev https://github.com/jbeder/yaml-cpp)

  # zlog ships no description for pkg-config. The archive is the logging layer's, the library the tests'.
  find_path(zlog_INCLUDE_DIR zlog.h)
  find_library(zlog_LIBRARY zlog)
  find_library(zlog_ARCHIVE libzlog.a)
  if(zlog_INCLUDE_DIR AND zlog_LIBRARY AND zlog_ARCHIVE)
    set(zlog_FOUND TRUE)
    add_library(zlog INTERFACE IMPORTED)
    target_include_directories(zlog INTERFACE ${zlog_INCLUDE_DIR})
    target_link_libraries(zlog INTERFACE ${zlog_LIBRARY})
  endif()
  trel_cap_needs(zlog_FOUND "zlog 1.2.18 with libzlog.a" "libzlog-dev (of Debian 13, and for 12 as well)"
                 https://github.com/HardySimpson/zlog)

  if(TREL_CAP_BUILD_BENCH)
    find_package(benchmark QUIET)
    trel_cap_needs(benchmark_FOUND "Google Benchmark" libbenchmark-dev https://github.com/google/benchmark)
  endif()
endif()
trel_cap_stop_if_missing()
