# The package nxbriochem: the shared library nxbriochem::nxbriochem and the static one, nxbriochem::nxbriochem_static.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/nxbriochem-targets.cmake)
