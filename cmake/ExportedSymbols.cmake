# Makes a shared library export exactly the symbols of a list, which has one mangled name a line. Its
# sources and the templates that they use would export more.

function(export_symbols target list)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  file(STRINGS ${list} symbols REGEX "^[^#]")
  list(JOIN symbols ";\n    " symbols)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${script} CONTENT "{\n  global:\n    @symbols@;\n  local:\n    *;\n};\n" @ONLY)
  target_link_options(${target} PRIVATE LINKER:--version-script=${script})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
