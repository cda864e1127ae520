# Installs the public headers. They name each other from the root of the tree, so the installed ones
# keep their folders.
include(${source}/cmake/PublicHeaders.cmake)
ondrel_public_headers(${source} headers)
if(NOT IS_ABSOLUTE "${to}")
  string(PREPEND to "${CMAKE_INSTALL_PREFIX}/")
endif()
foreach(header IN LISTS headers)
  get_filename_component(folder ${header} DIRECTORY)
  file(INSTALL ${source}/${header} DESTINATION ${to}/${folder})
endforeach()
