# rotalis_symbol_table(TARGET): on Windows, writes "<file>.sym" beside the
# target's program or DLL after every link: the functions and source lines of
# its DWARF debug information (cmake/symbol_table.py), from which the crash
# reporter names call stacks there (platform/Symbolizer_win.cpp). The table
# holds addresses relative to the image base, so it also serves the stripped
# copy a deployment installs. Elsewhere the crash reporter reads the DWARF
# itself, and this does nothing.
function(rotalis_symbol_table target)
  if(NOT WIN32)
    return()
  endif()
  # A build-machine tool, also when cross-compiling.
  find_program(ROTALIS_PYTHON3 python3 REQUIRED)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${ROTALIS_PYTHON3} ${PROJECT_SOURCE_DIR}/cmake/symbol_table.py ${CMAKE_NM}
            ${CMAKE_OBJDUMP} $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.sym
    COMMENT "Symbol table of ${target}"
    VERBATIM)
endfunction()
