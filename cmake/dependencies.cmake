# Everything comes installed; nothing is fetched.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(protobuf_c REQUIRED IMPORTED_TARGET libprotobuf-c>=1.4)

if(TREL_CAP_PLATFORM_LIBRARIES)
  set(TREL_CAP_USES_OWN_PLATFORM OFF)
else()
  set(TREL_CAP_USES_OWN_PLATFORM ON)
  pkg_check_modules(hiredis REQUIRED IMPORTED_TARGET hiredis)
  pkg_check_modules(libffi REQUIRED IMPORTED_TARGET libffi)
  pkg_check_modules(libedit REQUIRED IMPORTED_TARGET libedit)

  # zlog ships no description for pkg-config.
  find_path(zlog_INCLUDE_DIR zlog.h REQUIRED)
  find_library(zlog_LIBRARY zlog REQUIRED)
  add_library(zlog INTERFACE IMPORTED)
  target_include_directories(zlog INTERFACE ${zlog_INCLUDE_DIR})
  target_link_libraries(zlog INTERFACE ${zlog_LIBRARY})
endif()
