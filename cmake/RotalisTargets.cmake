# Common settings for every target of the project.

set(ROTALIS_WARNINGS -Wall -Wextra -Werror -Wno-unused-parameter)

if(ROTALIS_SANITIZE)
  set(ROTALIS_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=undefined
                              -fno-omit-frame-pointer)
  add_compile_options(${ROTALIS_SANITIZER_FLAGS})
  add_link_options(${ROTALIS_SANITIZER_FLAGS})
endif()

# rotalis_library(NAME SOURCES... [DEPS ...]) — one static library per folder.
function(rotalis_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE ${ROTALIS_WARNINGS})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
endfunction()

# rotalis_test(NAME SOURCES... [DEPS ...] [NEEDS_DISPLAY]) — one GoogleTest
# program, registered with CTest. NEEDS_DISPLAY: the program draws windows; it
# runs under a private X server that xvfb-run starts and stops around it (and
# without xvfb-run as it is, its cases then skipping).
function(rotalis_test name)
  cmake_parse_arguments(ARG "NEEDS_DISPLAY" "TIMEOUT" "SOURCES;DEPS;LABELS" ${ARGN})
  find_package(GTest REQUIRED)
  add_executable(${name} ${ARG_SOURCES})
  target_compile_options(${name} PRIVATE ${ROTALIS_WARNINGS})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} rotalis_test_support GTest::gtest GTest::gtest_main)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 600)
  endif()
  set(command ${name})
  if(ARG_NEEDS_DISPLAY)
    find_program(ROTALIS_XVFB_RUN xvfb-run)
    if(ROTALIS_XVFB_RUN)
      set(command ${ROTALIS_XVFB_RUN} -a -s "-screen 0 1280x800x24" $<TARGET_FILE:${name}>)
    endif()
  endif()
  # Each program leaves its cases' results where scripts/test-summary.py
  # counts them; the path is relative so that it means the same under Wine.
  add_test(NAME ${name} COMMAND ${command} --gtest_color=no
           --gtest_output=xml:gtest-results/${name}.xml
           WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT}
    ENVIRONMENT "ROTALIS_SOURCE_DIR=${PROJECT_SOURCE_DIR};ROTALIS_BINARY_DIR=${PROJECT_BINARY_DIR}")
  if(ARG_LABELS)
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
  endif()
endfunction()
