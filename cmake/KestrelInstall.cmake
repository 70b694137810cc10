# What `cmake --install` puts where:
#   bin/                            kestrel-import, kestrel-host
#   lib/                            libkestrelimport, libkestrelwizard
#   lib/kestrel/components/         the sample host's plug-in and its announcement (host/CMakeLists.txt)
#   lib/cmake/KestrelImport/        the package for find_package
#   include/kestrel/                the headers
#   share/kestrel-import/           examples and demo files
# Manual pages, completions and what the desktop knows: packaging/CMakeLists.txt.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/KestrelImport)
set(data_folder ${CMAKE_INSTALL_DATADIR}/kestrel-import)

set_target_properties(kestrelimport PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS kestrelimport EXPORT KestrelImportTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT KestrelImportTargets NAMESPACE KestrelImport:: DESTINATION ${package_folder})
install(TARGETS kestrel-import RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

if(KESTREL_WIZARD)
  set_target_properties(kestrelwizard PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS kestrelwizard EXPORT KestrelImportWizardTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(EXPORT KestrelImportWizardTargets NAMESPACE KestrelImport:: DESTINATION ${package_folder})
  install(TARGETS kestrel-host RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/bedienung DESTINATION ${data_folder})
  # Its pictures are those of the other pages, too.
  file(GLOB pictures CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.png)
  install(FILES ${pictures} DESTINATION ${data_folder})
else()
  set(headers_of_pages PATTERN "*wizard*.h" EXCLUDE PATTERN "qt_*" EXCLUDE)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kestrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${headers_of_pages})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KestrelImportConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KestrelImportConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KestrelImportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KestrelImportConfig.cmake
  ${PROJECT_BINARY_DIR}/KestrelImportConfigVersion.cmake DESTINATION ${package_folder})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR}/demo DESTINATION ${data_folder}
  PATTERN "*.py" EXCLUDE)
