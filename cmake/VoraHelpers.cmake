# Small helpers shared by the test and benchmark folders.

# Environment for tests that need no pixels: fast, no X server.
set(VORA_OFFSCREEN_ENV
    QT_QPA_PLATFORM=offscreen
    QT_QPA_OFFSCREEN_NO_GLX=1
    QT_QUICK_BACKEND=software
    QT_LOGGING_RULES=qt.qpa.*=false
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:fast_unwind_on_malloc=0
    LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sanitizer/lsan.supp:print_suppressions=0
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1)

# Environment for tests that draw or need a window system's own events; the
# test script runs CTest under xvfb-run so DISPLAY is set. The scene graph is
# drawn in software: with Mesa's JIT on the render thread, AddressSanitizer's
# full malloc stacks deadlock inside the unwinder.
set(VORA_XCB_ENV
    QT_QPA_PLATFORM=xcb
    QT_QUICK_BACKEND=software
    LIBGL_ALWAYS_SOFTWARE=1
    QT_LOGGING_RULES=qt.qpa.*=false
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:fast_unwind_on_malloc=0
    LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sanitizer/lsan.supp:print_suppressions=0
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1)

# vora_add_test(<name> SOURCES ... [LIBS ...] [XCB] [ENV ...] [ARGS ...] [TIMEOUT s])
#
# Each test executable gets a root of its own, <build>/testroots/<name>/bin,
# so that "<exe dir>/../Resources" (where the plug-in keeps its snapshot) is
# private to that test and tests can run in parallel.
function(vora_add_test name)
  cmake_parse_arguments(T "XCB" "TIMEOUT" "SOURCES;LIBS;ENV;ARGS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE Qt5::Test ${T_LIBS})
  target_compile_definitions(${name} PRIVATE
      VORA_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
      VORA_BUNDLE_DIR="${VORA_BUNDLE_DIR}"
      VORA_PLUGIN_FILE="$<TARGET_FILE:ApplicationTools>")
  set_target_properties(${name} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/testroots/${name}/bin
      BUILD_WITH_INSTALL_RPATH OFF
      BUILD_RPATH ${VORA_BUNDLE_DIR}/lib)
  add_dependencies(${name} ApplicationTools)
  add_test(NAME ${name} COMMAND ${name} ${T_ARGS})
  if(T_XCB)
    set(env ${VORA_XCB_ENV})
  else()
    set(env ${VORA_OFFSCREEN_ENV})
  endif()
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${env};${T_ENV}" TIMEOUT ${T_TIMEOUT})
endfunction()

# vora_add_bench(<name> SOURCES ... [LIBS ...])
# Benchmarks are programs that print medians and ratios; they are built with
# the project and run by scripts/bench, never by CTest.
function(vora_add_bench name)
  cmake_parse_arguments(B "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${B_SOURCES})
  target_link_libraries(${name} PRIVATE ${B_LIBS})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/bench)
  target_compile_definitions(${name} PRIVATE
      VORA_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
      VORA_BUNDLE_DIR="${VORA_BUNDLE_DIR}"
      VORA_PLUGIN_FILE="$<TARGET_FILE:ApplicationTools>")
  set_target_properties(${name} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/benchroots/${name}/bin
      BUILD_WITH_INSTALL_RPATH OFF
      BUILD_RPATH ${VORA_BUNDLE_DIR}/lib)
  add_dependencies(${name} ApplicationTools)
endfunction()
