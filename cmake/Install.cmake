# Installation: the two libraries with their SONAME links, the public headers
# and gux.h, the taldb tool with its manual page and bash completion, the
# example description file, a pkg-config file and a CMake package, so that
# another project finds TalDB with find_package(TalDB) (target TalDB::taldb) or
# pkg-config (module taldb).
include(CMakePackageConfigHelpers)

set(TALDB_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TalDB)

# Installed binaries find their libraries relative to themselves, so the
# prefix can be moved: the tool looks in ../lib, libtaldb beside itself for
# libgux.
file(RELATIVE_PATH taldb_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(taldb gux PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS taldb gux EXPORT TalDBTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/taldb)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/taldb
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")

if(TARGET taldb_cli)
  set_target_properties(taldb_cli PROPERTIES INSTALL_RPATH "$ORIGIN/${taldb_bin_to_lib}")
  install(TARGETS taldb_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # "man taldb" works once PREFIX/share/man is on MANPATH (it is for /usr and
  # /usr/local); bash-completion loads the script from its completions
  # directory on first use of the command.
  install(FILES ${PROJECT_SOURCE_DIR}/tools/taldb/taldb.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/taldb/taldb.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME taldb)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/examples/taldb.ini
  DESTINATION ${CMAKE_INSTALL_DATADIR}/taldb)

install(EXPORT TalDBTargets NAMESPACE TalDB:: DESTINATION ${TALDB_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/TalDBConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TalDBConfig.cmake
  INSTALL_DESTINATION ${TALDB_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TalDBConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TalDBConfig.cmake ${PROJECT_BINARY_DIR}/TalDBConfigVersion.cmake
  DESTINATION ${TALDB_CMAKE_DIR})

# The .pc file names its prefix relative to its own directory, so it stays
# right when the install is given another prefix or moved.
file(RELATIVE_PATH taldb_pc_to_prefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" taldb_pc_to_prefix "${taldb_pc_to_prefix}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/taldb.pc.in ${PROJECT_BINARY_DIR}/taldb.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/taldb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
