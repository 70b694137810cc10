# Installs into a scratch folder, builds the installed examples against it as a stranger would, and runs them.
#   cmake -DBUILD=folder -DSCRATCH=folder -DWIZARD=ON|OFF -DSANITIZE=... -DEXPORT_ALL=ON|OFF -DNM=program -P embed_test.cmake

file(REMOVE_RECURSE ${SCRATCH})
set(prefix ${SCRATCH}/prefix)

# Runs a command, which has to succeed; what it printed is left in `output`.
function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status TIMEOUT 240)
  if(NOT status EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\nended with ${status}\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

function(build_example name)
  set(flags "")
  if(SANITIZE)
    set(flags "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE}" "-DCMAKE_C_FLAGS=-fsanitize=${SANITIZE}")
  endif()
  run(${CMAKE_COMMAND} -G Ninja -S ${prefix}/share/kestrel-import/examples/${name} -B ${SCRATCH}/${name}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug ${flags})
  run(${CMAKE_COMMAND} --build ${SCRATCH}/${name})
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

# The installed command line finds the installed plug-in.
run(${prefix}/bin/kestrel-import init ${SCRATCH}/host)
run(${prefix}/bin/kestrel-import run Kunden --folder ${SCRATCH}/host --format json)
if(NOT output MATCHES "\"records\":6,")
  message(FATAL_ERROR "The installed command line did not import the sample: ${output}")
endif()

# Its headers are those of the public folder, and each stands alone.
file(GLOB_RECURSE installed RELATIVE ${prefix}/include ${prefix}/include/*)
list(FILTER installed EXCLUDE REGEX "^kestrel/[a-z_]+\\.h$")
if(installed)
  message(FATAL_ERROR "Installed beside the public headers: ${installed}")
endif()
run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR}/public_headers -B ${SCRATCH}/public_headers
  -DCMAKE_PREFIX_PATH=${prefix} -DHEADERS=${prefix}/include -DWIZARD=${WIZARD})
run(${CMAKE_COMMAND} --build ${SCRATCH}/public_headers)

# What the libraries let others see. A handful more is no fault; a room that is private is.
function(check_symbols library most)
  if(EXPORT_ALL)
    return()
  endif()
  run(${NM} -DC --defined-only ${prefix}/lib/${library})
  string(REGEX MATCHALL "[^\n]*kestrel::[^\n]*" symbols "${output}")
  list(LENGTH symbols count)
  message(STATUS "${library} exports ${count} symbols")
  if(count GREATER most)
    message(FATAL_ERROR "${library} exports ${count} symbols, more than ${most}:\n${output}")
  endif()
  if(output MATCHES "[^\n]* kestrel::(access|access_sql|dbase|encryption|excel|odbc|postgres|sqlite)::[^\n]*")
    message(FATAL_ERROR "${library} exports what is private: ${CMAKE_MATCH_0}")
  endif()
endfunction()
check_symbols(libkestrelimport.so 300)
if(WIZARD)
  check_symbols(libkestrelwizard.so 80)
endif()

# Who asks for another version, or for a part that there is not, is told so; who asks for this one, gets it.
function(check_package expected)
  file(WRITE ${SCRATCH}/asks/CMakeLists.txt "cmake_minimum_required(VERSION 3.25)\nproject(asks CXX)\n"
    "find_package(KestrelImport ${ARGN} REQUIRED)\nmessage(STATUS found)\n")
  execute_process(COMMAND ${CMAKE_COMMAND} -G Ninja -S ${SCRATCH}/asks -B ${SCRATCH}/asks/build --fresh
      -DCMAKE_PREFIX_PATH=${prefix}
    OUTPUT_VARIABLE told ERROR_VARIABLE told TIMEOUT 240)
  string(REGEX REPLACE "[ \n]+" " " told "${told}")
  string(FIND "${told}" "${expected}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "find_package(KestrelImport ${ARGN}) does not tell \"${expected}\":\n${told}")
  endif()
endfunction()
check_package("-- found" 2.0)
foreach(other 1.0 3.0 9.0)
  check_package("compatible with requested version \"${other}\"" ${other})
endforeach()
check_package("KestrelImport has no component \"nonsense\"" COMPONENTS nonsense)
check_package("-- found" OPTIONAL_COMPONENTS nonsense)
if(WIZARD)
  check_package("-- found" 2.0 COMPONENTS wizard)
else()
  check_package("without its component \"wizard\"" COMPONENTS wizard)
endif()

# Programs that are not built with CMake find it by pkg-config, wherever it was installed to.
file(GLOB pkgconfig ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
find_program(PKG_CONFIG pkg-config REQUIRED)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgconfig} ${PKG_CONFIG} --cflags --libs --print-errors kestrel-import)
separate_arguments(flags UNIX_COMMAND "${output}")
if(NOT SANITIZE)
  run(cc -std=c99 ${prefix}/share/kestrel-import/examples/c_host/main.c ${flags} -o ${SCRATCH}/by_pkg_config)
endif()

build_example(embed_headless)
set(example ${prefix}/share/kestrel-import/examples/embed_headless)
run(${SCRATCH}/embed_headless/embed_headless ${example}/addresses.IMP ${example}/addresses.txt)
if(NOT output STREQUAL "Café Zürich, Köln\nWeiß; Söhne oHG, Hamburg\n")
  message(FATAL_ERROR "embed_headless imported something else:\n${output}")
endif()

# The same by bare names, from the folder of the files.
execute_process(COMMAND ${SCRATCH}/embed_headless/embed_headless addresses.IMP addresses.txt
  WORKING_DIRECTORY ${example} OUTPUT_VARIABLE output RESULT_VARIABLE status TIMEOUT 240)
if(NOT status EQUAL 0 OR NOT output MATCHES "Hamburg")
  message(FATAL_ERROR "embed_headless with bare names ended with ${status}:\n${output}")
endif()

# A field that cannot be built is no success.
string(REPEAT "x" 254 long)
file(WRITE ${SCRATCH}/long.IMP "[Common]\nImportClass=example.addressbook\nDelimiter=;\n[FieldAssignments]\nName=CONST:${long}\n")
execute_process(COMMAND ${SCRATCH}/embed_headless/embed_headless ${SCRATCH}/long.IMP ${example}/addresses.txt
  ERROR_VARIABLE errors RESULT_VARIABLE status TIMEOUT 240)
if(NOT status EQUAL 1 OR NOT errors MATCHES "Feld \"Name\".*FieldAssignments.*253")
  message(FATAL_ERROR "embed_headless with a constant that is too long ended with ${status}:\n${errors}")
endif()

# Nor is an import of columns that the source has not.
file(WRITE ${SCRATCH}/nonsense.IMP "[Common]\nImportClass=example.addressbook\nDelimiter=;\n[FieldAssignments]\nName=FIELD:Surname\nOrt=FIELD:Town\n")
execute_process(COMMAND ${SCRATCH}/embed_headless/embed_headless ${SCRATCH}/nonsense.IMP ${example}/addresses.txt
  OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status TIMEOUT 240)
if(NOT status EQUAL 1 OR NOT output STREQUAL "" OR NOT errors MATCHES "keine Spalte \"Surname\".*keine Spalte \"Town\"")
  message(FATAL_ERROR "embed_headless with columns that are not there ended with ${status}:\n${output}${errors}")
endif()

# The C interface, in a program without a line of C++.
build_example(c_host)
run(${SCRATCH}/c_host/c_host ${SCRATCH}/sample)
if(NOT output MATCHES "erfolgreich fertig gestellt. 6 neu, 0 Fehler" OR NOT output MATCHES "Café Zürich, Zürich\n"
   OR NOT output MATCHES "6 Adressen gelöscht")
  message(FATAL_ERROR "c_host did something else:\n${output}")
endif()

if(WIZARD)
  build_example(embed_qt)
  set(ENV{QT_QPA_PLATFORM} offscreen)
  set(ENV{XDG_CONFIG_HOME} ${SCRATCH}/config)
  run(${SCRATCH}/embed_qt/embed_qt ${SCRATCH}/host --smoke)
endif()
file(REMOVE_RECURSE ${SCRATCH})
