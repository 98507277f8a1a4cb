# How a program for the switch is compiled and linked: small, quick to start, hardened. docs/performance.md has what
# each of these costs.
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

option(TOLVANE_BIND_NOW "Look up all 80 functions of the switch's libraries when the tool starts, not the few it calls"
       OFF)
option(TOLVANE_LTO "Optimise the tool as one unit" ${CMAKE_CROSSCOMPILING})

set(optimised $<NOT:$<CONFIG:Debug>>)
add_library(tolvane_switch_program INTERFACE)
target_compile_options(
  tolvane_switch_program
  INTERFACE -fpie
            -fstack-protector-strong
            -fno-asynchronous-unwind-tables
            -fno-unwind-tables
            $<${optimised}:-Os>
            $<${optimised}:-U_FORTIFY_SOURCE>
            $<${optimised}:-D_FORTIFY_SOURCE=2>)
target_link_options(
  tolvane_switch_program
  INTERFACE
  -Wl,-O1
  -Wl,--as-needed
  -Wl,--hash-style=gnu
  -Wl,-z,relro
  -Wl,-z,noexecstack
  -Wl,-z,$<IF:$<BOOL:${TOLVANE_BIND_NOW}>,now,lazy>)
if(TOLVANE_LTO)
  target_compile_options(tolvane_switch_program INTERFACE $<${optimised}:-flto>)
  target_link_options(tolvane_switch_program INTERFACE $<${optimised}:-flto>)
endif()
