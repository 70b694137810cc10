# Compiler settings shared by every target, and the helpers that make targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT KESTREL_EXPORT_ALL)
  # Others see what include/kestrel/export.h marks.
  set(CMAKE_CXX_VISIBILITY_PRESET hidden)
  set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
endif()
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

# Programs, libraries and plug-ins beside each other, so that everything runs from the build tree.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(kestrel_options INTERFACE)
# What a library uses and nobody exports is told where it is linked. Sanitizers leave their own functions open.
set(kestrel_link_all "")
if(NOT KESTREL_SANITIZE)
  set(kestrel_link_all -Wl,-z,defs)
endif()
set(kestrel_exports "")
if(NOT KESTREL_EXPORT_ALL)
  set(kestrel_exports -Wl,--version-script=${CMAKE_CURRENT_LIST_DIR}/exports.map)
endif()
target_compile_options(kestrel_options INTERFACE -Wall -Wextra -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 takes "text" + std::string for an overlapping copy when it optimises (its bug 105651).
  target_compile_options(kestrel_options INTERFACE -Wno-restrict)
endif()
if(KESTREL_WERROR)
  target_compile_options(kestrel_options INTERFACE -Werror)
endif()
if(KESTREL_SANITIZE)
  target_compile_options(kestrel_options INTERFACE
    -fsanitize=${KESTREL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
    # g++ loses track of a variant's contents in instrumented code and warns where nothing is wrong; the
    # uninstrumented builds keep the warning.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(kestrel_options INTERFACE -fsanitize=${KESTREL_SANITIZE})
endif()
