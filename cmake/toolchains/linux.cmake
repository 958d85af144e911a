# Linux on another processor, by Debian's cross compilers: for aarch64.cmake and s390x.cmake, which set
# CMAKE_SYSTEM_PROCESSOR. The compiler and the libraries are looked for in NVIMPORT_PROCESSOR_ROOT alone.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_LIBRARY_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
set(CMAKE_C_COMPILER ${NVIMPORT_PROCESSOR_ROOT}/usr/bin/${CMAKE_LIBRARY_ARCHITECTURE}-gcc-12)
set(CMAKE_CXX_COMPILER ${NVIMPORT_PROCESSOR_ROOT}/usr/bin/${CMAKE_LIBRARY_ARCHITECTURE}-g++-12)
set(CMAKE_FIND_ROOT_PATH ${NVIMPORT_PROCESSOR_ROOT})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NVIMPORT_PROCESSOR_ROOT)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# A compiler that is unpacked and not installed finds nothing of what is: its own headers, the system's,
# the assembler and the libraries.
set(system /usr/${CMAKE_LIBRARY_ARCHITECTURE})
set(own /usr/lib/gcc-cross/${CMAKE_LIBRARY_ARCHITECTURE}/12)
set(CMAKE_C_FLAGS_INIT "-nostdinc")
foreach(folder ${own}/include ${system}/include ${NVIMPORT_PROCESSOR_ROOT}/usr/include
    ${NVIMPORT_PROCESSOR_ROOT}/usr/include/${CMAKE_LIBRARY_ARCHITECTURE})
  string(APPEND CMAKE_C_FLAGS_INIT " -isystem ${folder}")
endforeach()
foreach(folder ${system}/bin ${system}/lib ${own})
  string(APPEND CMAKE_C_FLAGS_INIT " -B${folder}")
endforeach()
add_link_options(-L${system}/lib -L${own})
set(CMAKE_CXX_FLAGS_INIT "-isystem ${system}/include/c++/12")
foreach(folder ${CMAKE_LIBRARY_ARCHITECTURE} backward)
  string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${system}/include/c++/12/${folder}")
endforeach()
string(APPEND CMAKE_CXX_FLAGS_INIT " ${CMAKE_C_FLAGS_INIT}")
set(libraries ${NVIMPORT_PROCESSOR_ROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
add_link_options(LINKER:-rpath-link,${libraries})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L /usr/${CMAKE_LIBRARY_ARCHITECTURE}
  -E LD_LIBRARY_PATH=${libraries})
