# What every target of this project is compiled with.
add_library(splicer_options INTERFACE)
target_compile_options(splicer_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
  -Werror)
target_include_directories(splicer_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Unique symbols would pin the module in memory after the host has unloaded it.
  target_compile_options(splicer_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()

if(SPLICER_SANITIZE)
  # -O1 and line numbers only: reports stay readable, and the builds take half the time.
  add_compile_options(-O1 -g1 -fsanitize=${SPLICER_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${SPLICER_SANITIZE})
  if(SPLICER_SANITIZE MATCHES "undefined")
    # Objects pass between libraries that hide their classes from each other: that is what the
    # binary contract is for, and no fault of an object's type.
    add_compile_options(-fno-sanitize=vptr)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
      # The same goes for the types of the libraries' exports.
      add_compile_options(-fno-sanitize=function)
    endif()
  endif()
endif()

if(WIN32)
  # Unoptimised tests have more sections than the plain object format can count.
  add_compile_options(-Wa,-mbig-obj)
  # The product brings its runtime along: a host's folder holds no compiler's libraries.
  add_link_options(-static -static-libgcc -static-libstdc++)
endif()
