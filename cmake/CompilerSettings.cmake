# Flags that every target of this tree is built with, as one interface target.
# Floating point must give the same bits on every machine: no contraction, and SSE on 32-bit x86.
add_library(ondrel_settings INTERFACE)
target_compile_options(ondrel_settings INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough
  -ffp-contract=off)
if(ONDREL_32BIT)
  set(CMAKE_SIZEOF_VOID_P 4) # for what is chosen by it: the folder of libraries, the package's fit
  target_compile_options(ondrel_settings INTERFACE -m32 -msse2 -mfpmath=sse)
  target_link_options(ondrel_settings INTERFACE -m32)
endif()
if(ONDREL_SANITIZE)
  target_compile_options(ondrel_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(ondrel_settings INTERFACE -fsanitize=address,undefined)
endif()

include(GNUInstallDirs)
set(ONDREL_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/ondrel)
