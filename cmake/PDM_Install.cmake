# What `cmake --install` puts into a prefix: libraries, headers, the schema generator, and what
# find_package(PDM_Core) and pkg-config need to find them. The package may be moved as a whole.
include(CMakePackageConfigHelpers)

get_property(PDM_LIBRARIES GLOBAL PROPERTY PDM_INSTALLED_LIBRARIES)
set(PDM_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/PDM_Core)
set(PDM_SCHEMA_DIR ${CMAKE_INSTALL_DATADIR}/PDM_Core/schema)
set(PDM_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/PDM_Core)
set(PDM_JOURNAL_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/H5Journal)

# The standard library's templates that we instantiate stay our own affair.
set(PDM_SYMBOLS ${PROJECT_SOURCE_DIR}/cmake/PDM_Symbols.map)
foreach(library ${PDM_LIBRARIES})
  target_link_options(${library} PRIVATE -Wl,--version-script=${PDM_SYMBOLS})
  set_property(TARGET ${library} APPEND PROPERTY LINK_DEPENDS ${PDM_SYMBOLS})
endforeach()

# `--target installed` builds what `cmake --install` copies, without tests and examples.
add_custom_target(installed)
foreach(target ${PDM_LIBRARIES} PDM_Core_mpi pdm_c pdm_fortran pdmsim _pdm_core _pdm_core_mpi)
  if(TARGET ${target})
    add_dependencies(installed ${target})
  endif()
endforeach()

# H5Journal can be installed and found without the others.
set(PDM_CORE_LIBRARIES ${PDM_LIBRARIES})
list(REMOVE_ITEM PDM_CORE_LIBRARIES H5Journal)
install(TARGETS H5Journal EXPORT H5JournalTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT H5JournalTargets NAMESPACE PDM_Core:: DESTINATION ${PDM_JOURNAL_CONFIG_DIR})
install(TARGETS ${PDM_CORE_LIBRARIES} EXPORT PDM_CoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT PDM_CoreTargets NAMESPACE PDM_Core:: DESTINATION ${PDM_CONFIG_DIR})

# Every header goes where its includes name it; generated/ and c/ are not a part of that name.
include(PDM_Headers)
install(FILES lib/PDM_Core.h DESTINATION ${PDM_HEADER_DIR})
foreach(header ${PDM_PUBLIC_HEADERS})
  cmake_path(GET header PARENT_PATH folder)
  string(REGEX REPLACE "^(generated/|c$)" "" folder ${folder})
  install(FILES ${header} DESTINATION ${PDM_HEADER_DIR}/${folder})
endforeach()
install(DIRECTORY schema/ DESTINATION ${PDM_SCHEMA_DIR}
  FILES_MATCHING PATTERN "*.toml" PATTERN "*.j2" PATTERN "*.py" PATTERN "__pycache__" EXCLUDE)
install(FILES # what a host's module of Python is made with
  python/src/py_Class.h python/src/py_Host.h python/src/py_Session.h python/src/py_Values.h
  DESTINATION ${PDM_SCHEMA_DIR}/python)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

configure_package_config_file(cmake/PDM_CoreConfig.cmake.in PDM_CoreConfig.cmake
  INSTALL_DESTINATION ${PDM_CONFIG_DIR} PATH_VARS PDM_SCHEMA_DIR)
write_basic_package_version_file(PDM_CoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/PDM_CoreConfig.cmake ${PROJECT_BINARY_DIR}/PDM_CoreConfigVersion.cmake
  cmake/PDM_CoreGenerate.cmake
  DESTINATION ${PDM_CONFIG_DIR})
configure_file(cmake/H5JournalConfig.cmake.in H5JournalConfig.cmake @ONLY)
write_basic_package_version_file(H5JournalConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/H5JournalConfig.cmake ${PROJECT_BINARY_DIR}/H5JournalConfigVersion.cmake
  DESTINATION ${PDM_JOURNAL_CONFIG_DIR})

# pkg-config: the prefix is told from where the file lies.
set(PDM_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH PDM_PC_PREFIX /prefix/${PDM_PC_DIR} /prefix)
list(TRANSFORM PDM_LIBRARIES PREPEND "-l" OUTPUT_VARIABLE PDM_PC_LIBS)
list(REVERSE PDM_PC_LIBS) # users before what they use
list(JOIN PDM_PC_LIBS " " PDM_PC_LIBS)
configure_file(cmake/PDM_Core.pc.in PDM_Core.pc @ONLY)
configure_file(cmake/H5Journal.pc.in H5Journal.pc @ONLY)
configure_file(cmake/pdm-c.pc.in pdm-c.pc @ONLY)
if(TARGET pdm_fortran) # may be installed apart, so what CMake reads of it stands apart
  install(EXPORT PDM_CoreFortranTargets NAMESPACE PDM_Core:: DESTINATION ${PDM_CONFIG_DIR} COMPONENT fortran)
  configure_file(cmake/pdm-fortran.pc.in pdm-fortran.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pdm-fortran.pc DESTINATION ${PDM_PC_DIR} COMPONENT fortran)
endif()
if(TARGET PDM_Core_mpi)
  install(EXPORT PDM_CoreMpiTargets NAMESPACE PDM_Core:: DESTINATION ${PDM_CONFIG_DIR} COMPONENT mpi)
endif()
install(FILES ${PROJECT_BINARY_DIR}/PDM_Core.pc ${PROJECT_BINARY_DIR}/H5Journal.pc ${PROJECT_BINARY_DIR}/pdm-c.pc
  DESTINATION ${PDM_PC_DIR})
