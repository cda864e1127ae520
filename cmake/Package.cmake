# What `cmake --install` gives: the library and the `ondrel` program, the public headers, and the
# files by which find_package and pkg-config find them. Nothing in them names the folder they are
# installed to, so that an installed tree may be moved.
include(CMakePackageConfigHelpers)

# ondrel_install_package(TARGETS target... [EXPORT name] [COMPONENT name])
# Without COMPONENT, the parts are Ondrel_Runtime (what a program needs to run) and
# Ondrel_Development; with it, all goes to a component that is installed by name only.
function(ondrel_install_package)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "EXPORT;COMPONENT" "TARGETS")
  set(runtime Ondrel_Runtime)
  set(development Ondrel_Development)
  set(export OndrelTargets)
  set(excluded)
  if(arg_COMPONENT)
    set(runtime ${arg_COMPONENT})
    set(development ${arg_COMPONENT})
    set(export ${arg_EXPORT})
    set(excluded EXCLUDE_FROM_ALL)
  endif()
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Ondrel)
  set(work ${PROJECT_BINARY_DIR}/package/${export})
  list(GET arg_TARGETS 0 library)
  get_target_property(kind ${library} TYPE)

  install(TARGETS ${arg_TARGETS} EXPORT ${export}
    RUNTIME COMPONENT ${runtime} ${excluded}
    LIBRARY COMPONENT ${runtime} NAMELINK_COMPONENT ${development} ${excluded}
    ARCHIVE COMPONENT ${development} ${excluded})
  install(EXPORT ${export} FILE OndrelTargets.cmake NAMESPACE Ondrel:: DESTINATION ${package_dir}
    COMPONENT ${development} ${excluded})

  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OndrelConfig.cmake.in
    ${work}/OndrelConfig.cmake INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  set(compatibility SameMajorVersion)
  if(PROJECT_VERSION_MAJOR EQUAL 0)
    set(compatibility SameMinorVersion)
  endif()
  write_basic_package_version_file(${work}/OndrelConfigVersion.cmake
    COMPATIBILITY ${compatibility})

  # pkg-config says where its file lies; from there it is so many folders up to the prefix. Where
  # the folder of libraries is fixed, the prefix is so too.
  set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
  if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    file(RELATIVE_PATH pc_prefix /prefix/${pc_dir} /prefix)
    string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${pc_prefix}")
  endif()
  foreach(dir CMAKE_INSTALL_LIBDIR ONDREL_INCLUDE_DIR)
    cmake_path(ABSOLUTE_PATH ${dir} BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pc_${dir})
  endforeach()
  if(kind STREQUAL "SHARED_LIBRARY")
    set(pc_libs "-L\${libdir} -londrel")
    set(pc_cflags)
  else()
    set(archive "\${libdir}/${CMAKE_STATIC_LIBRARY_PREFIX}ondrel${CMAKE_STATIC_LIBRARY_SUFFIX}")
    set(pc_libs "-Wl,--whole-archive,${archive},--no-whole-archive -pthread")
    foreach(needed IN LISTS CMAKE_DL_LIBS)
      string(APPEND pc_libs " -l${needed}")
    endforeach()
    set(pc_cflags "-DONDREL_STATIC")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/ondrel.pc.in ${work}/ondrel.pc @ONLY)

  install(FILES ${work}/OndrelConfig.cmake ${work}/OndrelConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT ${development} ${excluded})
  install(FILES ${work}/ondrel.pc DESTINATION ${pc_dir} COMPONENT ${development} ${excluded})

  # Which headers are public is read off ondrel.h when they are installed.
  install(CODE "set(source \"${PROJECT_SOURCE_DIR}\")\nset(to \"${ONDREL_INCLUDE_DIR}\")"
    COMPONENT ${development} ${excluded})
  install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallHeaders.cmake
    COMPONENT ${development} ${excluded})

  if(TARGET ondrel_tool AND NOT arg_COMPONENT)
    install(TARGETS ondrel_tool RUNTIME COMPONENT ${runtime})
  endif()
endfunction()
