# What is installed, and how others find it: with pkg-config or find_package(trel_cap).

include(CMakePackageConfigHelpers)

set(records_dir ${CMAKE_INSTALL_INCLUDEDIR}/trel_cap)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/trel_cap)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(libraries trel_cap platform platform_headers)
if(TREL_CAP_USES_OWN_PLATFORM)
  list(APPEND libraries ox_mom ox_zlog quib)
  install(TARGETS trel_cap_demo RUNTIME)
  install(FILES ${PROJECT_SOURCE_DIR}/examples/demo/trel_cap_demo.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(
    DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING
    PATTERN *.h)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME trel_cap.conf)
endif()
install(
  TARGETS ${libraries}
  EXPORT trel_cap-targets
  LIBRARY
  INCLUDES
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${records_dir})
install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/app/trel_cap/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING
  PATTERN *.h)
install(FILES $<TARGET_PROPERTY:trel_cap_schema,PUBLIC_HEADER> DESTINATION ${records_dir})

# As in the sources, so that what refers to each other finds each other.
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/trel_cap)
install(FILES CHANGELOG.md CONTRIBUTING.md LICENSE README.md DESTINATION ${doc_dir})
install(
  DIRECTORY docs examples
  DESTINATION ${doc_dir}
  FILES_MATCHING
  PATTERN *.md
  PATTERN *.png
  PATTERN *.svg
  PATTERN *.c
  PATTERN examples/*.cpp
  PATTERN examples/*.py
  PATTERN examples/*.sh
  PATTERN demo EXCLUDE)

# A manual page tells of several functions; each has a link to it under its own name.
file(GLOB manual_pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.3)
set(manual_links)
foreach(page IN LISTS manual_pages)
  get_filename_component(page_name ${page} NAME_WE)
  file(READ ${page} text)
  string(REGEX REPLACE ".*\n\\.SH NAME\n([^\\]+)\\\\-.*" "\\1" text "${text}")
  string(REGEX MATCHALL "[a-z0-9_]+" names "${text}")
  list(REMOVE_ITEM names ${page_name})
  foreach(name IN LISTS names)
    set(link ${PROJECT_BINARY_DIR}/man/${name}.3)
    file(WRITE ${link} ".so man3/${page_name}.3\n")
    list(APPEND manual_links ${link})
  endforeach()
endforeach()
install(FILES ${manual_pages} ${manual_links} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)

install(EXPORT trel_cap-targets NAMESPACE trel_cap:: DESTINATION ${package_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/trel_cap-config.cmake.in
                              ${PROJECT_BINARY_DIR}/trel_cap-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/trel_cap-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/trel_cap-config.cmake ${PROJECT_BINARY_DIR}/trel_cap-config-version.cmake
        DESTINATION ${package_dir})

# The description for pkg-config finds the tree from its own place, so that the tree can be installed anywhere, or moved.
if(TREL_CAP_IN_SYSTEM)
  set(pc_prefix /usr)
  set(pc_rpath "")
else()
  file(RELATIVE_PATH pc_prefix /${pkgconfig_dir} /)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${pc_prefix}")
  set(pc_rpath "-Wl,-rpath,\${libdir}")
endif()
if(TREL_CAP_USES_OWN_PLATFORM)
  set(pc_platform_libs "-lox_mom -lox_zlog -lquib")
else()
  other_platform_libraries(pc_platform_libs directories "${TREL_CAP_PLATFORM_LIBRARIES}")
  list(JOIN pc_platform_libs " " pc_platform_libs)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/trel_cap.pc.in ${PROJECT_BINARY_DIR}/trel_cap.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/trel_cap.pc DESTINATION ${pkgconfig_dir})
if(TREL_CAP_USES_OWN_PLATFORM)
  get_property(pc_testing_libs GLOBAL PROPERTY trel_cap_testing_libraries)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/trel_cap_testing.pc.in ${PROJECT_BINARY_DIR}/trel_cap_testing.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/trel_cap_testing.pc DESTINATION ${pkgconfig_dir})
endif()
