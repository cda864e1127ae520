# The two kinds of the library. Both are compiled alike; they differ in how they are put together.

# How a library target of Ondrel is compiled, and what follows for those who link it.
function(ondrel_compile target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${ONDREL_INCLUDE_DIR}>)
  target_compile_definitions(${target} PRIVATE ONDREL_BUILDING)
  if(NOT WIN32)
    # Calls within the library are its own business: nobody interposes them, so they may be inlined
    # and bound when it is linked.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
  # The settings are this build's alone: linked, they would have to be installed as well.
  target_compile_options(${target} PRIVATE
    $<TARGET_PROPERTY:ondrel_settings,INTERFACE_COMPILE_OPTIONS>)
  target_link_options(${target} PRIVATE $<TARGET_PROPERTY:ondrel_settings,INTERFACE_LINK_OPTIONS>)
  target_link_libraries(${target} PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON POSITION_INDEPENDENT_CODE ON)
endfunction()

# The static library as a target NAME for those who link it, which takes the archive NAME_archive
# whole: a class is entered in the registry by a static object that nobody refers to, and a linker
# drops what nobody refers to.
function(ondrel_add_archive name)
  set(archive ${name}_archive)
  add_library(${archive} STATIC ${ARGN})
  target_compile_definitions(${archive} PUBLIC ONDREL_STATIC)
  set_target_properties(${archive} PROPERTIES OUTPUT_NAME ondrel EXPORT_NAME archive)
  if(NOT WIN32 AND NOT APPLE)
    # The objects of an archive stand behind those of the program and would be made after them, and
    # end before them. As with the shared library, a program's own static objects may use the
    # library from the first to the last, so the library's get a priority over the usual.
    add_custom_command(TARGET ${archive} POST_BUILD VERBATIM COMMAND ${CMAKE_OBJCOPY}
      --rename-section .init_array=.init_array.00200 $<TARGET_FILE:${archive}>)
  endif()
  add_library(${name} INTERFACE)
  set_target_properties(${name} PROPERTIES EXPORT_NAME ondrel)
  # An export gives a target its new name in a plain list only.
  target_link_libraries(${name} INTERFACE
    $<BUILD_INTERFACE:$<LINK_LIBRARY:WHOLE_ARCHIVE,${archive}>>
    $<INSTALL_INTERFACE:$<LINK_LIBRARY:WHOLE_ARCHIVE,Ondrel::archive>>)
endfunction()
