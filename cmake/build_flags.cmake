# Flags of everything that is written here; generated code links trel_cap_language only.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
# Below /usr the loader finds libraries by itself, and packages of a system must not tell it where.
string(COMPARE EQUAL "${CMAKE_INSTALL_PREFIX}" /usr TREL_CAP_IN_SYSTEM)
if(NOT TREL_CAP_IN_SYSTEM)
  set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN")
endif()

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

find_program(TREL_CAP_CCACHE ccache)
if(TREL_CAP_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${TREL_CAP_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${TREL_CAP_CCACHE})
endif()

add_library(trel_cap_language INTERFACE)
target_compile_definitions(trel_cap_language INTERFACE _GNU_SOURCE)
# Where the sources lay is nobody's business once the result is installed; a debugger's is another matter.
target_compile_options(trel_cap_language
                       INTERFACE $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)
if(TREL_CAP_SANITIZE)
  # Of the directory, where the tests can take some of it back: what a target links has the last word.
  add_compile_options(-fsanitize=${TREL_CAP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(trel_cap_language INTERFACE -fsanitize=${TREL_CAP_SANITIZE})
endif()
if(TREL_CAP_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# For installed programs and libraries; the tests take of it what hinders them.
include(CheckPIESupported)
check_pie_supported()
if(TREL_CAP_HARDEN)
  add_compile_options(-fstack-protector-strong)
  add_link_options(-Wl,-z,relro -Wl,-z,now)
  # It needs optimised code, checks what sanitizers check better, and leaves a level that is given from outside alone.
  if(NOT TREL_CAP_SANITIZE AND NOT "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "_FORTIFY_SOURCE")
    add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>")
  endif()
endif()

add_library(trel_cap_warnings INTERFACE)
target_link_libraries(trel_cap_warnings INTERFACE trel_cap_language)
target_compile_options(
  trel_cap_warnings
  INTERFACE $<$<BOOL:${TREL_CAP_WARNINGS_AS_ERRORS}>:-Werror>
            -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wformat=2
            -Wundef
            -Wvla
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor
            -Wold-style-cast
            -Woverloaded-virtual>
            $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes>)
