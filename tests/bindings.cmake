# The bindings of other languages, tested in those languages against the built library. Not with sanitizers, which would
# have to stand in the foreign program before it starts.
if(KESTREL_SANITIZE)
  return()
endif()

# JavaScript, where node and its FFI package are installed.
find_program(NODE node)
if(NODE)
  add_test(NAME JavaScript.AnImportIsRunAndWatched
    COMMAND ${NODE} ${PROJECT_SOURCE_DIR}/bindings/javascript/import_test.js $<TARGET_FILE:kestrel-import>)
  set_tests_properties(JavaScript.AnImportIsRunAndWatched PROPERTIES TIMEOUT 300 SKIP_RETURN_CODE 77
    ENVIRONMENT "KESTREL_LIBRARY=$<TARGET_FILE:kestrelimport>")
endif()

# The system's own, whose modules are Debian's packages.
find_program(SYSTEM_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(SYSTEM_PYTHON)
  set(python_binding ${PROJECT_SOURCE_DIR}/bindings/python)
  file(GLOB python_tests RELATIVE ${python_binding}/tests CONFIGURE_DEPENDS ${python_binding}/tests/test_*.py)
  foreach(file ${python_tests})
    string(REGEX REPLACE "^test_(.*)\\.py$" "\\1" name ${file})
    add_test(NAME Python.${name} COMMAND ${SYSTEM_PYTHON} -B ${python_binding}/tests/${file})
    set_tests_properties(Python.${name} PROPERTIES TIMEOUT 300 ENVIRONMENT
      "PYTHONPATH=${python_binding}/src;KESTREL_LIBRARY=$<TARGET_FILE:kestrelimport>;PYTHONDONTWRITEBYTECODE=1")
  endforeach()
endif()
