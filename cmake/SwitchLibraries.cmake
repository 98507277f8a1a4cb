# The four libraries that the tool is linked with: the switch's own where their folder is given, else stubs where those
# are wanted, else the emulated ones of this tree, else those of the tests that only record their calls. What the binary
# asks the loader for are their names.
add_library(tolvane_switch_libraries INTERFACE)
if(TOLVANE_SWITCH_LIBRARIES)
  foreach(name brgfdb portshm qual trapevent)
    # Looked up each time: another folder has to take effect in a tree that is configured already.
    unset(TOLVANE_${name}_LIBRARY CACHE)
    find_library(
      TOLVANE_${name}_LIBRARY ${name} NO_CACHE
      PATHS ${TOLVANE_SWITCH_LIBRARIES}
      NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    if(NOT TOLVANE_${name}_LIBRARY)
      message(FATAL_ERROR "TOLVANE_SWITCH_LIBRARIES: there is no lib${name}.so in ${TOLVANE_SWITCH_LIBRARIES}")
    endif()
    target_link_libraries(tolvane_switch_libraries INTERFACE ${TOLVANE_${name}_LIBRARY})
  endforeach()
  set(TOLVANE_LINKED_WITH "the libraries in ${TOLVANE_SWITCH_LIBRARIES}")
elseif(TOLVANE_STUBS)
  target_link_libraries(tolvane_switch_libraries INTERFACE stub_brgfdb stub_portshm stub_qual stub_trapevent)
  set(TOLVANE_LINKED_WITH "stubs of the switch's libraries")
elseif(TARGET brgfdb)
  target_link_libraries(tolvane_switch_libraries INTERFACE brgfdb portshm qual trapevent)
  set(TOLVANE_LINKED_WITH "the emulated libraries")
elseif(TARGET recording_brgfdb)
  target_link_libraries(tolvane_switch_libraries INTERFACE recording_brgfdb recording_portshm recording_qual
                                                           recording_trapevent)
  set(TOLVANE_LINKED_WITH "libraries that only record their calls")
elseif(CMAKE_CROSSCOMPILING)
  message(FATAL_ERROR "No libraries to link against: set TOLVANE_SWITCH_LIBRARIES to the folder of the switch's own, "
                      "or TOLVANE_STUBS to ON where you have not got them.")
else()
  message(FATAL_ERROR "No libraries to link against: set TOLVANE_SWITCH_LIBRARIES to the folder of the switch's own, "
                      "or turn TOLVANE_EMULATOR on (it needs SQLite: apt-get install libsqlite3-dev).")
endif()
