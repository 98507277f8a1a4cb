# The warnings that all our code compiles without, as errors.
add_library(tolvane_warnings INTERFACE)
target_compile_options(
  tolvane_warnings
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wshadow
            -Wcast-align
            -Wcast-qual
            -Wformat=2
            -Wnull-dereference
            -Wold-style-cast
            -Wundef
            -Wunused
            -Wimplicit-fallthrough)
if(TOLVANE_WERROR)
  target_compile_options(tolvane_warnings INTERFACE -Werror)
endif()

# Code that runs on the switch, or in its place, does without the C++ runtime library: no exceptions, no RTTI, no
# guarded statics, and the C compiler driver as linker.
add_library(tolvane_no_runtime INTERFACE)
target_compile_options(tolvane_no_runtime INTERFACE -fno-exceptions -fno-rtti -fno-threadsafe-statics)

function(tolvane_link_without_runtime target)
  target_link_libraries(${target} PRIVATE tolvane_warnings tolvane_no_runtime)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
endfunction()
