# Installation and export of libZrnCore: the shared library with its
# VERSION/SOVERSION links, the public and generated headers, a CMake package
# (target ZrnCore::ZrnCore) and a pkg-config file. Both package files name
# the Qt major version the library was built with, so a consumer gets the
# same Qt as the library. Included at the end of the root CMakeLists.txt.

include(CMakePackageConfigHelpers)

set(ZRNCORE_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZrnCore
  CACHE STRING "Where the CMake package files of ZrnCore are installed")
set(ZRNCORE_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  CACHE STRING "Where ZrnCore.pc is installed")

install(TARGETS ZrnCore ZrnCoreQt
  EXPORT ZrnCoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(FILES ${ZRNCORE_PUBLIC_HEADERS}
  ${ZRNCORE_GENERATED_INCLUDE_DIR}/ZrnCore/zrncore_export.h
  ${ZRNCORE_GENERATED_INCLUDE_DIR}/ZrnCore/zrncoreqt_export.h
  ${ZRNCORE_GENERATED_INCLUDE_DIR}/ZrnCore/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZrnCore
  COMPONENT Development)

install(EXPORT ZrnCoreTargets
  NAMESPACE ZrnCore::
  FILE ZrnCoreTargets.cmake
  DESTINATION ${ZRNCORE_INSTALL_CMAKEDIR}
  COMPONENT Development)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ZrnCoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZrnCoreConfig.cmake
  INSTALL_DESTINATION ${ZRNCORE_INSTALL_CMAKEDIR})
# Before 1.0 a minor release may change the interface, hence SameMinorVersion.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZrnCoreConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/ZrnCoreConfig.cmake
  ${PROJECT_BINARY_DIR}/ZrnCoreConfigVersion.cmake
  DESTINATION ${ZRNCORE_INSTALL_CMAKEDIR}
  COMPONENT Development)

# pkg-config: the prefix is found from where ZrnCore.pc lies (${pcfiledir}),
# so the installed tree can be moved or installed with --prefix elsewhere.
set(ZRNCORE_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
if(NOT IS_ABSOLUTE "${ZRNCORE_INSTALL_PKGCONFIGDIR}")
  file(RELATIVE_PATH ZRNCORE_PC_UP "/zrn-prefix/${ZRNCORE_INSTALL_PKGCONFIGDIR}" "/zrn-prefix")
  string(REGEX REPLACE "/$" "" ZRNCORE_PC_UP "${ZRNCORE_PC_UP}")
  set(ZRNCORE_PC_PREFIX "\${pcfiledir}/${ZRNCORE_PC_UP}")
endif()
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(ZRNCORE_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(ZRNCORE_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
set(ZRNCORE_PC_QT_REQUIRES "Qt${ZRNCORE_QT_VERSION}Core")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ZrnCore.pc.in ${PROJECT_BINARY_DIR}/ZrnCore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ZrnCore.pc
  DESTINATION ${ZRNCORE_INSTALL_PKGCONFIGDIR}
  COMPONENT Development)

# ---------------------------------------------------------------- API docs
# `cmake --build <dir> --target docs` writes HTML to <dir>/docs/html. Any
# Doxygen warning (an undocumented public member, a broken reference) fails it.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  set(ZRNCORE_DOCS_OUTPUT_DIR ${PROJECT_BINARY_DIR}/docs)
  configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${ZRNCORE_DOCS_OUTPUT_DIR}/Doxyfile @ONLY)
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E make_directory ${ZRNCORE_DOCS_OUTPUT_DIR}
    COMMAND Doxygen::doxygen ${ZRNCORE_DOCS_OUTPUT_DIR}/Doxyfile
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    COMMENT "Building the API documentation in ${ZRNCORE_DOCS_OUTPUT_DIR}/html"
    VERBATIM)
endif()
