# Run with `cmake -P`: the module shows two functions to the outside, and on Windows asks nothing of
# its folder. Takes MODULE, and OBJDUMP (a Windows library) or NM (a Linux one).

set(wanted ZvCreateObject ZvDestroyObject)

if(OBJDUMP)
  execute_process(COMMAND ${OBJDUMP} -p ${MODULE} OUTPUT_VARIABLE dump COMMAND_ERROR_IS_FATAL ANY)
  # The table of names ends at a blank line; relocations look alike further down.
  string(FIND "${dump}" "[Ordinal/Name Pointer] Table" start)
  if(start LESS 0)
    message(FATAL_ERROR "${MODULE} exports nothing")
  endif()
  string(SUBSTRING "${dump}" ${start} -1 table)
  string(FIND "${table}" "\n\n" end)
  string(SUBSTRING "${table}" 0 ${end} table)
  string(REGEX MATCHALL "\\[ *[0-9]+\\] [^\n]+" names "${table}")
  list(TRANSFORM names REPLACE "^.* " "")

  string(REGEX MATCHALL "DLL Name: [^\n]+" imports "${dump}")
  list(TRANSFORM imports REPLACE "DLL Name: " "")
  list(TRANSFORM imports TOLOWER)
  set(system "^(kernel32|advapi32|user32|shell32|shlwapi|winmm|ole32|ws2_32|ntdll|msvcrt)\\.dll$|^api-ms-win-")
  set(strangers ${imports})
  list(FILTER strangers EXCLUDE REGEX "${system}")
  if(strangers OR NOT imports)
    message(FATAL_ERROR "${MODULE} may import nothing but libraries of Windows, yet it imports: ${imports}")
  endif()
else()
  execute_process(COMMAND ${NM} -D --defined-only ${MODULE} OUTPUT_VARIABLE dump COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" names "${dump}")
  list(TRANSFORM names REPLACE "^.* " "")
endif()

list(SORT names)
if(NOT names STREQUAL wanted)
  message(FATAL_ERROR "${MODULE} should export ${wanted} and nothing else, yet it exports: ${names}")
endif()
