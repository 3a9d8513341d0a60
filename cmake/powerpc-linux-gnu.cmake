# The switch's board: 32-bit big-endian PowerPC, Linux. Programs of this target run here under
# emulation. BOARD_PREFIX names the folder that holds the target's static libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
# AddressSanitizer takes the upper quarter of the addresses for the kernel's, as it is on the board.
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-ppc;-R;0xbf000000;-L;/usr/powerpc-linux-gnu")

if(DEFINED ENV{BOARD_PREFIX})
  set(BOARD_PREFIX "$ENV{BOARD_PREFIX}" CACHE PATH "the target's libraries")
endif()
if(NOT BOARD_PREFIX)
  message(FATAL_ERROR "BOARD_PREFIX is not set: scripts/board builds the target's libraries and sets it")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES BOARD_PREFIX)
set(CMAKE_FIND_ROOT_PATH /usr/powerpc-linux-gnu ${BOARD_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${BOARD_PREFIX}/lib/pkgconfig)
set(OPENSSL_USE_STATIC_LIBS ON)
# The 64-bit counters of OpenSSL and of the C++ library are not atomic on this processor.
set(CMAKE_C_STANDARD_LIBRARIES "-l:libatomic.a")
set(CMAKE_CXX_STANDARD_LIBRARIES "-l:libatomic.a")
