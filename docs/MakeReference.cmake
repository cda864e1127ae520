# Runs Doxygen over the public headers and the pages, then looks whether every public class says what
# it is for. Called as
#   cmake -D DOXYGEN=program -D ROOT=folder of the sources -D OUTPUT=folder -D VERSION=number
#         -P MakeReference.cmake
cmake_policy(VERSION 3.25)

# The public headers are those that a host gets with ondrel.h.
include(${ROOT}/cmake/PublicHeaders.cmake)
ondrel_public_headers(${ROOT} headers)
file(GLOB pages RELATIVE ${ROOT} ${ROOT}/docs/*.md)

file(MAKE_DIRECTORY ${OUTPUT})
list(JOIN headers " " header_input)
list(JOIN pages " " page_input)
file(WRITE ${OUTPUT}/Doxyfile "@INCLUDE = ${ROOT}/docs/Doxyfile
PROJECT_NUMBER = ${VERSION}
STRIP_FROM_PATH = ${ROOT}
OUTPUT_DIRECTORY = ${OUTPUT}
INPUT = README.md CHANGELOG.md ${page_input} ${header_input}
")
file(REMOVE_RECURSE ${OUTPUT}/xml ${OUTPUT}/html)
execute_process(COMMAND ${DOXYGEN} ${OUTPUT}/Doxyfile WORKING_DIRECTORY ${ROOT}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "Doxygen has something to say about the comments: see above")
endif()

# The summary of a class stands less deep in its file than those of its members.
file(GLOB classes ${OUTPUT}/xml/class*.xml ${OUTPUT}/xml/struct*.xml ${OUTPUT}/xml/union*.xml)
list(LENGTH classes count)
if(count LESS 100)
  message(FATAL_ERROR "Only ${count} classes were found")
endif()
set(silent "")
foreach(class IN LISTS classes)
  file(READ ${class} text)
  if(text MATCHES "<compounddef [^>]*prot=\"private\"")
    continue()
  endif()
  if(text MATCHES "\n    <briefdescription>\n    </briefdescription>")
    string(REGEX REPLACE ".*<compoundname>([^<]*)</compoundname>.*" "\\1" name "${text}")
    string(APPEND silent "\n  ${name}")
  endif()
endforeach()
if(silent)
  message(FATAL_ERROR "These classes do not say what they are for:${silent}")
endif()
message(STATUS "The reference of ${count} classes is in ${OUTPUT}/html")
