include(CMakeFindDependencyMacro)
find_dependency(PkgConfig)
pkg_check_modules(JSONCPP REQUIRED QUIET IMPORTED_TARGET jsoncpp)
include(${CMAKE_CURRENT_LIST_DIR}/settings-client-targets.cmake)
