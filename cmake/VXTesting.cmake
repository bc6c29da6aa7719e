# GoogleTest from the Debian source package, built with the project's own flags in every build.
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
set(VX_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest sources")
add_subdirectory(${VX_GTEST_SOURCE} ${CMAKE_BINARY_DIR}/_googletest EXCLUDE_FROM_ALL SYSTEM)

# vx_add_test(name SOURCES ... LIBS ... [LABELS ...] [TIMEOUT s] [SCREEN] [DEBUG_OUTPUT])
# SCREEN: the test puts windows on the display or reads it back; such tests run one at a time.
# DEBUG_OUTPUT: the test reads the session's debug output, which only one reader can hold.
# One executable, one CTest entry: under Wine a start costs about a second, so the
# cases of an executable run in one process.
function(vx_add_test name)
  cmake_parse_arguments(T "SCREEN;DEBUG_OUTPUT" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main GTest::gmock)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  if(VX_WINDOWS)
    set(platform windows)
  else()
    set(platform linux)
  endif()
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  set_tests_properties(${name} PROPERTIES LABELS "${platform};${T_LABELS}"
                       WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
  if(T_SCREEN)
    set_property(TEST ${name} APPEND PROPERTY RESOURCE_LOCK screen)
  endif()
  if(T_DEBUG_OUTPUT)
    set_property(TEST ${name} APPEND PROPERTY RESOURCE_LOCK debug-output)
  endif()
  if(T_TIMEOUT)
    set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT})
  endif()
endfunction()
