# The switch's board: 32-bit big-endian PowerPC, Linux. Programs of this target run here under
# emulation. BOARD_PREFIX names the folder that holds the target's static libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-ppc;-L;/usr/powerpc-linux-gnu")

set(BOARD_PREFIX "$ENV{BOARD_PREFIX}" CACHE PATH "the target's libraries")
set(CMAKE_FIND_ROOT_PATH /usr/powerpc-linux-gnu ${BOARD_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${BOARD_PREFIX}/lib/pkgconfig)
set(OPENSSL_USE_STATIC_LIBS ON)
# The 64-bit counters of OpenSSL and of the C++ library are not atomic on this processor.
set(CMAKE_C_STANDARD_LIBRARIES "-latomic")
set(CMAKE_CXX_STANDARD_LIBRARIES "-latomic")
