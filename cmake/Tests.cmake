# lumamon_test(NAME SOURCES... [LIBRARIES ...] [PROPERTIES ...])
# Test programs are in a bundle too, since the program reads its identity from the bundle around it.
# Every test runs in its own process and home and, where the machine allows it, in its own process namespace.
include(GoogleTest)

# What the thread sanitizer ignores in every test.
set(SANITIZER_ENVIRONMENT "TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/cmake/ThreadSanitizer.supp")
set(GUI_TEST LABELS gui)

function(lumamon_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE lumamon test_support ${ARG_LIBRARIES})
  target_precompile_headers(${name} REUSE_FROM test_support)
  set_target_properties(${name} PROPERTIES LUMAMON_UNOPTIMIZED ON
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/UnitTests.app/Contents/Linux")
  # Values without a printed form would change a test's name with every build.
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES
    PROPERTIES TIMEOUT 300 ENVIRONMENT "${SANITIZER_ENVIRONMENT}" ${ARG_PROPERTIES})
endfunction()

set(BUNDLE_NAME "UnitTests")
set(BUNDLE_IDENTIFIER "com.brennic.LumadocDiagnostics.UnitTests")
configure_file("${CMAKE_SOURCE_DIR}/resources/Info.plist.in"
  "${CMAKE_BINARY_DIR}/UnitTests.app/Contents/Info.plist" @ONLY)
