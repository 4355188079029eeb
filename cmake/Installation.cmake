# What an installation holds, below its root, which is the prefix:
#   cmake --install build/release --prefix /opt/tessera
# Where the prefix ends in "/lib/tessera", as that of the Debian packages does, links in the tree around it lead to the
# program, its manual and completions, the CMake package and the pkg-config file.
# `cpack` in the build folder makes the packages.
include(CMakePackageConfigHelpers)

set(TESSERA_PROGRAMS_DIR bin/${TESSERA_ARCHM})
set(TESSERA_LIBRARIES_DIR lib/${TESSERA_ARCHM})

function(tessera_install_installation)
  install(TARGETS tessera_program batchprocess comspec
    RUNTIME DESTINATION ${TESSERA_PROGRAMS_DIR} COMPONENT programs)
  install(TARGETS tessera LIBRARY DESTINATION ${TESSERA_LIBRARIES_DIR} COMPONENT programs)
  install(TARGETS tx_general LIBRARY DESTINATION ${TESSERA_LIBRARIES_DIR}/plugins COMPONENT programs)
  install(TARGETS tessera_proj LIBRARY DESTINATION ${TESSERA_LIBRARIES_DIR}/modules COMPONENT programs)
  # A package of its own: what it needs is many times the rest.
  install(TARGETS tessera_gdal LIBRARY DESTINATION ${TESSERA_LIBRARIES_DIR}/modules COMPONENT rasters)
  install(DIRECTORY ${TESSERA_HOME}/etc ${TESSERA_HOME}/scripts DESTINATION . COMPONENT programs)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/InstallUserFiles.cmake.in ${CMAKE_BINARY_DIR}/InstallUserFiles.cmake @ONLY)
  install(SCRIPT ${CMAKE_BINARY_DIR}/InstallUserFiles.cmake COMPONENT programs)

  install(DIRECTORY ${CMAKE_SOURCE_DIR}/interfaces/ DESTINATION include COMPONENT development
    FILES_MATCHING PATTERN "*.h")
  configure_file(${CMAKE_SOURCE_DIR}/cmake/TesseraConfig.cmake.in ${CMAKE_BINARY_DIR}/TesseraConfig.cmake @ONLY)
  write_basic_package_version_file(${CMAKE_BINARY_DIR}/TesseraConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${CMAKE_BINARY_DIR}/TesseraConfig.cmake ${CMAKE_BINARY_DIR}/TesseraConfigVersion.cmake
      ${CMAKE_SOURCE_DIR}/cmake/plugin-exports.map
    DESTINATION lib/cmake/Tessera COMPONENT development)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/tessera.pc.in ${CMAKE_BINARY_DIR}/tessera.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/tessera.pc DESTINATION lib/pkgconfig COMPONENT development)
  install(SCRIPT ${CMAKE_SOURCE_DIR}/cmake/InstallDevelopmentLinks.cmake COMPONENT development)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessera)
set(CPACK_PACKAGE_CONTACT "The developers of Tessera <developers@tessera.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Runs dataflow models")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr/lib/tessera)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL programs rasters development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${TESSERA_LIB_DIR})
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME tessera)
# Loaded on first need, so that the linker knows nothing of it.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS libssl3)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS "graphviz, tessera-rasters")
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION
  "Documents join operators through named, typed ports. A model is written once and run on one file or on many,\n\
in threads, in processes or on a cluster. This package has the programs, the engine and the operator library.")
set(CPACK_DEBIAN_RASTERS_PACKAGE_NAME tessera-rasters)
set(CPACK_DEBIAN_RASTERS_PACKAGE_DEPENDS "tessera (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_RASTERS_DESCRIPTION
  "Lets models read, write and analyse rasters of all formats that GDAL knows.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME tessera-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "tessera (= ${PROJECT_VERSION}), libboost-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Headers to write operator plug-ins and to link the engine into a program, with a CMake package and a pkg-config file.")
include(CPack)
