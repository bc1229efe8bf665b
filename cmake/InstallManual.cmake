# At install time: puts the manual pages of the folder `from` into the folder `to`, compressed without name and time
# in them, so that equal pages give equal files.
find_program(GZIP gzip REQUIRED)
file(GLOB pages "${from}/*.[1-9]")
foreach(page IN LISTS pages)
  execute_process(COMMAND "${GZIP}" -9nkf "${page}" COMMAND_ERROR_IS_FATAL ANY)
  file(INSTALL "${page}.gz" DESTINATION "${to}")
endforeach()
