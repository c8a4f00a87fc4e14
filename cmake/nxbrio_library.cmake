# How each library of the project is made, installed and packaged. One set of objects feeds the shared library, the
# static library and the unit tests, which reach internals that the shared library does not export.
#
#   nxbrio_add_library(NAME
#     DESCRIPTION text           of the pkg-config file and the Debian packages: one line
#     LONG_DESCRIPTION text      of the Debian packages: lines of up to 80 characters
#     REQUIRES library...        libraries of the project whose public headers this one's headers include
#     LINK name...               other libraries that its objects need, by the linker's names
#     INCLUDE directory...       where their headers are
#     PUBLIC_HEADERS header...   those that are public without NX_API in them
#     DEVELOPMENT_PACKAGES name...)  Debian packages that linking the static library needs
#
# Called in the library's directory, NAME/ at the root of the tree, whose sources are all *.cpp below and whose
# exports.txt lists what is exported. Makes the targets NAME_objects, NAME and NAME_static, the installed CMake targets
# nxbriochem::NAME and nxbriochem::NAME_static, NAME.pc, and the Debian packages lib<NAME><major> and lib<NAME>-dev
# (install components NAME_runtime and NAME_dev).
include(CMakePackageConfigHelpers)

function(nxbrio_add_library name)
  cmake_parse_arguments(arg "" "DESCRIPTION;LONG_DESCRIPTION"
    "REQUIRES;LINK;INCLUDE;PUBLIC_HEADERS;DEVELOPMENT_PACKAGES" ${ARGN})
  set(directory ${CMAKE_CURRENT_SOURCE_DIR})

  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${directory}/*.cpp)
  add_library(${name}_objects OBJECT ${sources})
  target_include_directories(${name}_objects PUBLIC ${PROJECT_SOURCE_DIR})
  target_include_directories(${name}_objects SYSTEM PRIVATE ${arg_INCLUDE})
  target_link_libraries(${name}_objects PUBLIC Threads::Threads PRIVATE nxbriochem_options INTERFACE ${arg_LINK})
  # A program may have functions of the same names as exported ones: calls inside the library do not go there. Variables
  # stay shared with the program.
  target_compile_options(${name}_objects PRIVATE -fno-semantic-interposition)
  set_target_properties(${name}_objects PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

  # The written list of exports is the linker's too: what is not on it stays inside, even what the standard library's
  # templates would add.
  set(exports_list ${directory}/exports.txt)
  set(version_script ${CMAKE_CURRENT_BINARY_DIR}/exports.map)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports_list})
  file(STRINGS ${exports_list} exports REGEX "^[A-Za-z_]")
  list(JOIN exports ";\n    " export_lines)
  file(CONFIGURE OUTPUT ${version_script} CONTENT "{\n  global:\n    @export_lines@;\n  local:\n    *;\n};\n" @ONLY)

  # The public headers are those that mark something as exported, and those named.
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${directory}/*.h)
  list(TRANSFORM arg_PUBLIC_HEADERS PREPEND ${directory}/ OUTPUT_VARIABLE public_headers)
  foreach(header ${headers})
    file(STRINGS ${header} marks REGEX "NX_API" LIMIT_COUNT 1)
    if(marks)
      list(APPEND public_headers ${header})
    endif()
  endforeach()

  # Said besides the file set, which a CMake before 3.23 passes over.
  set(include_directories
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  list(TRANSFORM arg_REQUIRES APPEND _static OUTPUT_VARIABLE required_static)

  add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
  add_library(nxbriochem::${name} ALIAS ${name})
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${public_headers})
  target_include_directories(${name} PUBLIC ${include_directories})
  target_link_libraries(${name} PUBLIC Threads::Threads ${arg_REQUIRES} PRIVATE nxbriochem_options ${arg_LINK})
  target_link_options(${name} PRIVATE -Wl,--version-script=${version_script} -Wl,-Bsymbolic-functions)
  # A library finds those it stands on beside itself, built or installed.
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$<$<BOOL:${arg_REQUIRES}>:$ORIGIN>"
    BUILD_WITH_INSTALL_RPATH ON
    LINK_DEPENDS ${version_script})

  # With what a C program does not bring along.
  set(brought_along ${arg_LINK} stdc++ m)
  list(TRANSFORM brought_along REPLACE "(.+)" "$<LINK_ONLY:\\1>")
  add_library(${name}_static STATIC $<TARGET_OBJECTS:${name}_objects>)
  add_library(nxbriochem::${name}_static ALIAS ${name}_static)
  target_include_directories(${name}_static PUBLIC ${include_directories})
  target_link_libraries(${name}_static PUBLIC Threads::Threads ${required_static} PRIVATE ${brought_along})
  set_target_properties(${name}_static PROPERTIES OUTPUT_NAME ${name})

  # Installed in two parts: what running programs need, and what building them needs. Each library is a component of one
  # CMake package, cmake/nxbriochem-config.cmake.
  set(cmake_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/nxbriochem)
  install(TARGETS ${name} ${name}_static EXPORT ${name}
    LIBRARY COMPONENT ${name}_runtime NAMELINK_COMPONENT ${name}_dev
    ARCHIVE COMPONENT ${name}_dev
    FILE_SET HEADERS COMPONENT ${name}_dev)
  install(EXPORT ${name} NAMESPACE nxbriochem:: FILE ${name}-targets.cmake
    DESTINATION ${cmake_package_dir} COMPONENT ${name}_dev)

  # The pkg-config file finds the prefix from its own place, so that an installed tree may be moved.
  set(pkgconfig_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH pc_prefix ${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
  file(RELATIVE_PATH pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
  file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  string(REGEX REPLACE "/$" "" pc_prefix ${pc_prefix})
  list(JOIN arg_REQUIRES ", " pc_requires)
  list(TRANSFORM arg_LINK PREPEND -l OUTPUT_VARIABLE pc_private)
  list(JOIN pc_private " " pc_private)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${name}_dev)

  # All of them, by one name.
  if(NOT TARGET libraries)
    add_custom_target(libraries)
  endif()
  add_dependencies(libraries ${name} ${name}_static)

  # For packaging/.
  set_property(GLOBAL APPEND PROPERTY NXBRIO_LIBRARIES ${name})
  foreach(property DESCRIPTION LONG_DESCRIPTION REQUIRES DEVELOPMENT_PACKAGES)
    set_property(GLOBAL PROPERTY NXBRIO_${name}_${property} "${arg_${property}}")
  endforeach()
endfunction()
