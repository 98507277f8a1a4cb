# Writes the scripts of the store as strings into OUTPUT: SCHEMA, and MIGRATIONS in their order.
function(append_text script)
  file(READ ${script} text)
  file(APPEND ${OUTPUT} "R\"sql(${text})sql\"")
endfunction()

file(WRITE ${OUTPUT} "#include \"core/store_scripts.h\"\n\nconst char store_schema[] = ")
append_text(${SCHEMA})
file(APPEND ${OUTPUT} ";\n\nconst char* const store_migrations[] = {\n")
foreach(script IN LISTS MIGRATIONS)
  append_text(${script})
  file(APPEND ${OUTPUT} ",\n")
endforeach()
file(APPEND ${OUTPUT} "};\n")
