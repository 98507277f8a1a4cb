# Writes the text file INPUT as the string VARIABLE of the source file OUTPUT.
file(READ ${INPUT} text)
file(WRITE ${OUTPUT} "extern const char ${VARIABLE}[];\nconst char ${VARIABLE}[] = R\"sql(${text})sql\";\n")
