# Prints the tables and record layouts that the compiler gives the host's declarations, and compares them with
# the checked-in text. Called with -DCOMPILE=<compiler;flags> -DSOURCE=tables.cpp -DEXPECTED=layouts.txt.
# -DACTUAL=<file> keeps what was printed: after a meant change, that file is the new expected text.
# A call prints a table, -emit-llvm being what makes the compiler lay tables out; records print without it.
function(printed result)
  execute_process(COMMAND ${COMPILE} ${ARGN} ${SOURCE} OUTPUT_VARIABLE text ERROR_VARIABLE errors RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${SOURCE} doesn't compile:\n${errors}")
  endif()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

printed(tables -Xclang -fdump-vtable-layouts -emit-llvm -S -o -)
printed(records -Xclang -fdump-record-layouts-complete -fsyntax-only)

# The tables come before the compiled text, each followed by a second view of itself that says nothing new.
string(REGEX REPLACE "; ModuleID.*" "" tables "${tables}")
string(REGEX REPLACE "VFTable indices[^\n]*\n([^\n]+\n)*" "" tables "${tables}")
string(REGEX REPLACE "\n\n+" "\n\n" tables "${tables}")
string(REGEX REPLACE "\n[^\n]*Dumping AST Record Layout\n" "\n" records "${records}")
string(REGEX REPLACE "\n\n+" "\n\n" records "${records}")
set(actual "${tables}${records}")
file(WRITE ${ACTUAL} "${actual}")

file(READ ${EXPECTED} expected)
if(NOT actual STREQUAL expected)
  execute_process(COMMAND diff -u ${EXPECTED} ${ACTUAL})
  message(FATAL_ERROR "The layouts differ from ${EXPECTED}. If that is meant: cp ${ACTUAL} ${EXPECTED}")
endif()
message("Layouts as expected.")
