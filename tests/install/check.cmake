# The steps of the tests of the package, each for one KIND of the library, shared or static:
#   -DSTEP=install     installs and moves what was installed; all other steps use it where it is then
#   -DSTEP=cmake       builds and runs the host with find_package
#   -DSTEP=pkg-config  compiles and runs the host with what pkg-config says
#   -DSTEP=part        configures a project that has the whole tree as a part
# BUILD is the build's own folder, WORK where the tests may write, and CXX and FLAGS what the build
# compiles with.
cmake_minimum_required(VERSION 3.25)
set(prefix ${WORK}/${KIND}/moved)
set(here ${CMAKE_CURRENT_LIST_DIR})
separate_arguments(FLAGS)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGV}\nends with ${status}:\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# Compares the classes of a host with those that the shared library gives.
function(compare_classes classes)
  if(NOT classes MATCHES "\nPixelMap\n")
    message(FATAL_ERROR "These are no names of classes:\n${classes}")
  endif()
  file(WRITE ${WORK}/${KIND}/${STEP}-classes.txt "${classes}")
  file(READ ${WORK}/classes.txt expected)
  if(NOT classes STREQUAL expected)
    message(FATAL_ERROR "The host has these classes:\n${classes}instead of\n${expected}")
  endif()
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE ${WORK}/${KIND})
  set(component)
  if(COMPONENT)
    set(component --component ${COMPONENT})
  endif()
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/${KIND}/first ${component})
  file(RENAME ${WORK}/${KIND}/first ${prefix})
  file(GLOB_RECURSE inner ${prefix}/include/*/posix/* ${prefix}/include/*/FlateDecoder.h)
  if(inner)
    message(FATAL_ERROR "Headers of the library's own are installed: ${inner}")
  endif()
  if(NOT COMPONENT AND TOOL)
    run(${prefix}/bin/ondrel --version)
    if(NOT output STREQUAL "ondrel ${VERSION}\n")
      message(FATAL_ERROR "The installed program is no ondrel ${VERSION} but ${output}")
    endif()
  endif()

elseif(STEP STREQUAL "cmake")
  set(build ${WORK}/${KIND}/cmake)
  string(REGEX MATCH "^([0-9]+)\\.([0-9]+)" unused ${VERSION})
  list(JOIN FLAGS " " flags)
  run(${CMAKE_COMMAND} --fresh -S ${here}/host -B ${build} -G Ninja
    -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${flags}" -DCMAKE_PREFIX_PATH=${prefix}
    -DWANTED_MAJOR=${CMAKE_MATCH_1} -DWANTED_MINOR=${CMAKE_MATCH_2})
  run(${CMAKE_COMMAND} --build ${build})
  run(${build}/main ${here}/host/speak.aut)
  run(${build}/registry)
  compare_classes("${output}")

elseif(STEP STREQUAL "pkg-config")
  find_program(pkg_config NAMES pkg-config pkgconf)
  if(NOT pkg_config)
    message("skipped: there is no pkg-config here")
    return()
  endif()
  file(GLOB_RECURSE file ${prefix}/*/ondrel.pc)
  get_filename_component(folder ${file} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${folder})
  foreach(what --cflags --libs)
    run(${pkg_config} ${what} "ondrel = ${VERSION}")
    separate_arguments(words UNIX_COMMAND "${output}")
    set(${what} ${words})
  endforeach()
  # Another standard than with find_package, which takes the least that will do.
  foreach(program main registry)
    run(${CXX} ${FLAGS} -std=c++23 -Wall -Wextra -Werror ${--cflags} ${here}/host/${program}.cpp
      -o ${WORK}/${KIND}/${program} ${--libs})
  endforeach()
  get_filename_component(folder ${folder} DIRECTORY)
  set(ENV{LD_LIBRARY_PATH} ${folder})
  run(${WORK}/${KIND}/main ${here}/host/speak.aut)
  run(${WORK}/${KIND}/registry)
  compare_classes("${output}")

elseif(STEP STREQUAL "part")
  foreach(shared ON OFF)
    run(${CMAKE_COMMAND} --fresh -S ${here}/part -B ${WORK}/part-${shared} -G Ninja
      -DCMAKE_CXX_COMPILER=${CXX} -DONDREL_SOURCE=${SOURCE} -DBUILD_SHARED_LIBS=${shared})
  endforeach()
endif()
