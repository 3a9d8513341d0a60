# The switch's board: 32-bit big-endian PowerPC, Linux. Programs of this target run here under
# emulation. From the environment: BOARD_TARGET is what the names of the compiler and its tools begin
# with, BOARD_PREFIX the folder of the target's static libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
# AddressSanitizer takes the upper quarter of the addresses for the kernel's, as it is on the board.
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-ppc;-R;0xbf000000;-L;/usr/powerpc-linux-gnu")

foreach(name BOARD_TARGET BOARD_PREFIX)
  if(DEFINED ENV{${name}})
    set(${name} "$ENV{${name}}" CACHE STRING "as in the environment")
  elseif(NOT ${name})
    message(FATAL_ERROR "${name} is not set: scripts/board sets it, and builds what belongs to it")
  endif()
  list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ${name})
endforeach()
set(CMAKE_C_COMPILER ${BOARD_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${BOARD_TARGET}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${BOARD_TARGET} ${BOARD_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${BOARD_PREFIX}/lib/pkgconfig)
set(OPENSSL_USE_STATIC_LIBS ON)
# The 64-bit counters of OpenSSL and of the C++ library are not atomic on this processor.
set(CMAKE_C_STANDARD_LIBRARIES "-l:libatomic.a")
set(CMAKE_CXX_STANDARD_LIBRARIES "-l:libatomic.a")
