# Compares the C functions that the library exports with a list: what is missing breaks programs, what is new has to be
# meant.
#   cmake -DNM=program -DLIBRARY=file -DLIST=file -P exported_names.cmake
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]* T kestrel_[a-z_]+\n" lines "${output}")
list(TRANSFORM lines REPLACE ".* T (kestrel_[a-z_]+)\n" "\\1")
list(SORT lines)
list(JOIN lines "\n" exported)
file(READ ${LIST} listed)
string(STRIP "${listed}" listed)
if(NOT exported STREQUAL listed)
  message(FATAL_ERROR "The library exports\n${exported}\n\nand ${LIST} has\n${listed}")
endif()
