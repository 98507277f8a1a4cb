# Sources that belong together can be compiled as one: most of the time goes into headers and templates that all of them
# use. It halves the work of a whole build, and makes that of a build after a change larger, so it is for who builds
# everything once, as scripts/test does.
option(TOLVANE_TOGETHER "Compile sources that belong together as one" OFF)

# tolvane_together(TARGET GROUP sources...)
#
# Private names of one group differ. What belongs to no group is compiled alone.
function(tolvane_together target group)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${TOLVANE_TOGETHER} UNITY_BUILD_MODE GROUP)
  set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP ${group})
endfunction()
