# Every header compiles alone. The target `headers` compiles a file for each header that includes
# nothing else, and includes it twice, so that a missing include or guard shows.
add_custom_target(headers)

# check_headers(NAME BASE FOLDER EXCLUDE-REGEX LIBRARY...): checks the headers below BASE/FOLDER, which
# are included relative to BASE, with the usage requirements of the libraries.
function(check_headers name base folder exclude)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${base} ${base}/${folder}/*.h)
  if(exclude)
    list(FILTER headers EXCLUDE REGEX "${exclude}")
  endif()
  set(sources)
  foreach(header ${headers})
    string(REPLACE "/" "." file ${header})
    set(source ${CMAKE_CURRENT_BINARY_DIR}/headers/${file}.cpp)
    set(text "#include \"${header}\"\n#include \"${header}\"  // a second time: it is guarded\n")
    file(CONFIGURE OUTPUT ${source} CONTENT "${text}" @ONLY)
    list(APPEND sources ${source})
  endforeach()
  if(NOT sources)
    return()
  endif()
  add_library(${name}_headers OBJECT EXCLUDE_FROM_ALL ${sources})
  target_include_directories(${name}_headers PRIVATE ${base})
  target_compile_options(${name}_headers PRIVATE -O0 -g0)
  foreach(library ${ARGN})
    target_compile_options(${name}_headers PRIVATE $<TARGET_PROPERTY:${library},INTERFACE_COMPILE_OPTIONS>)
    target_include_directories(${name}_headers PRIVATE $<TARGET_PROPERTY:${library},INTERFACE_INCLUDE_DIRECTORIES>)
    target_compile_definitions(${name}_headers PRIVATE $<TARGET_PROPERTY:${library},INTERFACE_COMPILE_DEFINITIONS>)
  endforeach()
  # What only an includer uses is no fault of a header's.
  target_compile_options(${name}_headers PRIVATE -Wno-unused)
  add_dependencies(headers ${name}_headers)
endfunction()
