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

if(SPLICER_BENCH)
  find_package(benchmark REQUIRED)
endif()
