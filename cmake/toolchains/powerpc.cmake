# Cross-compiling for the switch: Linux on 32-bit big-endian PowerPC, with Debian's compiler unless told otherwise.
#
#   TOLVANE_CROSS      what the compiler's name begins with; another toolchain has another one
#   TOLVANE_CPU        the processor for -mcpu, e300c3 for one; without it any 32-bit PowerPC with a floating-point unit
#   CMAKE_SYSROOT      the switch's root file system with its C library, when the compiler does not bring the right one
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)

set(TOLVANE_CROSS
    powerpc-linux-gnu-
    CACHE STRING "What the name of the cross compiler begins with")
set(TOLVANE_CPU
    ""
    CACHE STRING "Processor of the switch, as -mcpu takes it")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TOLVANE_CROSS TOLVANE_CPU)

set(CMAKE_C_COMPILER ${TOLVANE_CROSS}gcc)
set(CMAKE_CXX_COMPILER ${TOLVANE_CROSS}g++)
if(TOLVANE_CPU)
  string(APPEND CMAKE_C_FLAGS_INIT " -m32 -mcpu=${TOLVANE_CPU}")
  string(APPEND CMAKE_CXX_FLAGS_INIT " -m32 -mcpu=${TOLVANE_CPU}")
endif()

# Libraries and headers of the build machine are never right for the switch.
set(CMAKE_FIND_ROOT_PATH ${CMAKE_SYSROOT} /usr/powerpc-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# How the build machine runs what it has built for the switch.
find_program(TOLVANE_QEMU qemu-ppc)
if(TOLVANE_QEMU)
  if(CMAKE_SYSROOT)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${TOLVANE_QEMU} -L ${CMAKE_SYSROOT})
  else()
    set(CMAKE_CROSSCOMPILING_EMULATOR ${TOLVANE_QEMU} -L /usr/powerpc-linux-gnu)
  endif()
endif()
