# The package nxbriochem. Its components are the libraries: nxbriochem, which is always there, and nxbriofiles and
# nxbriodock, where they are installed. Each gives two targets: the shared library, nxbriochem::<component>, and the
# static one, nxbriochem::<component>_static. Without COMPONENTS: nxbriochem alone.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/nxbriochem-targets.cmake)
set(nxbriochem_nxbriochem_FOUND TRUE)
foreach(component ${nxbriochem_FIND_COMPONENTS})
  if(component STREQUAL "nxbriochem")
    continue()
  endif()
  set(nxbriochem_${component}_FOUND FALSE)
  if(component MATCHES "^(nxbriofiles|nxbriodock)$"
      AND EXISTS ${CMAKE_CURRENT_LIST_DIR}/${component}-targets.cmake)
    include(${CMAKE_CURRENT_LIST_DIR}/${component}-targets.cmake)
    set(nxbriochem_${component}_FOUND TRUE)
  elseif(nxbriochem_FIND_REQUIRED_${component})
    set(nxbriochem_FOUND FALSE)
    set(nxbriochem_NOT_FOUND_MESSAGE "nxbriochem has no component ${component} here")
  endif()
endforeach()
