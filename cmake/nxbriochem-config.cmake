# The package nxbriochem: the shared library nxbriochem::nxbriochem and the static one, nxbriochem::nxbriochem_static.
# It has no components.
if(nxbriochem_FIND_COMPONENTS)
  set(nxbriochem_FOUND FALSE)
  set(nxbriochem_NOT_FOUND_MESSAGE "nxbriochem has no components (${nxbriochem_FIND_COMPONENTS} were asked for)")
  return()
endif()
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/nxbriochem-targets.cmake)
