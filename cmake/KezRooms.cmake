# How the rooms of the house become targets.

add_library(kez_options INTERFACE)
target_include_directories(kez_options INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/platform/include)
target_compile_options(kez_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror)
# With optimisation this compiler's string headers set off both warnings where nothing is wrong.
target_compile_options(kez_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict;-Wno-maybe-uninitialized>)
# The object handler keeps its folder, as laid out, without asking it anything.
target_compile_options(kez_options INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-unused-private-field>)
if(KEZ_SANITIZE)
  target_compile_options(kez_options INTERFACE -fsanitize=${KEZ_SANITIZE} -fno-sanitize-recover=all
                         -fno-omit-frame-pointer
                         -Wno-maybe-uninitialized)  # GCC sees some where the sanitizers' own code confuses it
  target_link_options(kez_options INTERFACE -fsanitize=${KEZ_SANITIZE})
endif()
if(KEZ_FUZZ)
  target_compile_options(kez_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined)
  target_link_options(kez_options INTERFACE -fsanitize=address,undefined)
endif()
if(KEZ_32BIT)
  # Arithmetic in 64 bits, as the device has it, not in the 80 of the old unit.
  target_compile_options(kez_options INTERFACE -m32 -msse2 -mfpmath=sse)
  target_link_options(kez_options INTERFACE -m32)
endif()

# The device host is one shared library, so that the tools and the provider that they load share its state.
file(WRITE ${CMAKE_BINARY_DIR}/device_host.cpp "// Made by CMake: the device host's sources are those of its rooms.\n")
add_library(kez_device SHARED ${CMAKE_BINARY_DIR}/device_host.cpp)
set_target_properties(kez_device PROPERTIES OUTPUT_NAME kezdevice)
target_link_libraries(kez_device PUBLIC kez_options)

# kez_platform_room(SOURCES...): sources of one room of the device host.
function(kez_platform_room)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(kez_device PRIVATE ${ARGN})
endfunction()

# kez_subsystem(NAME SOURCES...): one of the five subsystems, as a static library kez_NAME in C++17. They answer with
# values and throw nothing: not every build for a device has exceptions. Only the provider is built with them, because
# its object handler stays whole under an exception of its engine's process that passes through.
function(kez_subsystem name)
  add_library(kez_${name} STATIC ${ARGN})
  set_target_properties(kez_${name} PROPERTIES CXX_STANDARD 17)
  if(NOT name STREQUAL provider)
    target_compile_options(kez_${name} PRIVATE -fno-exceptions)
  endif()
  target_link_libraries(kez_${name} PUBLIC kez_options kez_device)
endfunction()

# kez_library(NAME SOURCES...): a room of the host side (sync, engine, partner), as a static library kez_NAME.
function(kez_library name)
  add_library(kez_${name} STATIC ${ARGN})
  target_link_libraries(kez_${name} PUBLIC kez_options)
endfunction()

macro(kez_find_googletest)
  if(KEZ_32BIT)
    # Debian has no 32-bit library beside the 64-bit one; its package carries the sources.
    add_library(kez_gtest STATIC /usr/src/googletest/googletest/src/gtest-all.cc
                /usr/src/googletest/googletest/src/gtest_main.cc /usr/src/googletest/googlemock/src/gmock-all.cc)
    target_include_directories(kez_gtest PRIVATE /usr/src/googletest/googletest /usr/src/googletest/googlemock)
    target_compile_options(kez_gtest PUBLIC -m32)
    target_link_options(kez_gtest PUBLIC -m32)
  else()
    find_package(GTest REQUIRED)
    add_library(kez_gtest INTERFACE)
    target_link_libraries(kez_gtest INTERFACE GTest::gmock GTest::gtest_main)
  endif()
  include(GoogleTest)
endmacro()

# Builds the test programs with the label "threads", and what they need.
add_custom_target(threads)

# kez_test(NAME SOURCES file... LIBS target... [LABELS label...] [TIMEOUT seconds]): a test program; each of its test
# cases is a test of ctest's. Labels: "fast" (the default), or "slow", "crash", "fault", "random"; with each of them
# "threads" where it starts threads, or processes that share something: the thread sanitizer looks at those.
function(kez_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} kez_options kez_gtest)
  target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  if(NOT arg_LABELS)
    set(arg_LABELS fast)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  if("threads" IN_LIST arg_LABELS)
    add_dependencies(threads ${name})
  endif()
  # Several are one label to ctest, because discovery takes a list apart; its -L finds each of them in it.
  list(JOIN arg_LABELS " " labels)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
                       PROPERTIES LABELS "${labels}" TIMEOUT ${arg_TIMEOUT})
endfunction()
