# Sources that belong together are compiled as one: most of the time goes into headers and templates that all of them
# use. It halves the work of a whole build, and makes that of a build after a change larger; whoever changes much
# turns it off. Tests and packages are built alike, so that what is tested is what is shipped.
option(TOLVANE_TOGETHER "Compile sources that belong together as one" ON)

# tolvane_together(TARGET GROUP sources...)
#
# Private names of one group differ, and from those of the headers that it includes: a private function would be taken
# for a shared one of its name. What belongs to no group is compiled alone.
function(tolvane_together target group)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${TOLVANE_TOGETHER} UNITY_BUILD_MODE GROUP)
  set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP ${group})
endfunction()
