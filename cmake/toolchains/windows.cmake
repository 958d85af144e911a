# Windows of 64 bits, by Debian's g++-mingw-w64-x86-64-posix; of 32 by windows32.cmake. Libraries that
# Debian has no packages of are looked for in NVIMPORT_WINDOWS_ROOT.
set(CMAKE_SYSTEM_NAME Windows)
if(NOT DEFINED NVIMPORT_WINDOWS_TARGET)
  set(NVIMPORT_WINDOWS_TARGET x86_64-w64-mingw32)
  set(CMAKE_SYSTEM_PROCESSOR AMD64)
endif()
set(CMAKE_C_COMPILER ${NVIMPORT_WINDOWS_TARGET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${NVIMPORT_WINDOWS_TARGET}-g++-posix)
set(CMAKE_RC_COMPILER ${NVIMPORT_WINDOWS_TARGET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${NVIMPORT_WINDOWS_TARGET} ${NVIMPORT_WINDOWS_ROOT})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NVIMPORT_WINDOWS_TARGET NVIMPORT_WINDOWS_ROOT)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# No aligned moves of AVX: the stack is aligned to 16 bytes at most.
add_compile_options(-Wa,-muse-unaligned-vector-move)
# The runtime libraries of the compiler are in the programs.
add_link_options(-static-libgcc -static-libstdc++ -Wl,-Bstatic,--whole-archive -lwinpthread
  -Wl,--no-whole-archive)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
