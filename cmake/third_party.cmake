# The libraries the project stands on. On Windows they come from the prefix that ./dev builds.
find_package(Threads REQUIRED)
find_package(jansson CONFIG QUIET)
find_package(nlohmann_json 3.7 REQUIRED)

if(NOT TARGET jansson::jansson)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(jansson REQUIRED IMPORTED_TARGET jansson)
  add_library(jansson::jansson ALIAS PkgConfig::jansson)
endif()

if(NOT WIN32)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(glib REQUIRED IMPORTED_TARGET glib-2.0)
endif()

find_package(GTest REQUIRED)

# For the development kit only.
find_package(CURL REQUIRED)
find_path(HTTPLIB_INCLUDE_DIR httplib.h REQUIRED)
add_library(httplib::httplib INTERFACE IMPORTED)
target_link_libraries(httplib::httplib INTERFACE Threads::Threads)
if(WIN32)
  # Header only; the folder holds nothing but this project's libraries.
  target_include_directories(httplib::httplib INTERFACE ${HTTPLIB_INCLUDE_DIR})
  target_link_libraries(httplib::httplib INTERFACE ws2_32)
else()
  pkg_check_modules(cpp_httplib REQUIRED IMPORTED_TARGET cpp-httplib)
  target_link_libraries(httplib::httplib INTERFACE PkgConfig::cpp_httplib)
endif()

if(SPLICER_BENCH)
  find_package(benchmark REQUIRED)
endif()
