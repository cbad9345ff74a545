# The installed tree: both libraries, their headers, the CMake package, the pkg-config file, the tool
# and the daemons.
include( CMakePackageConfigHelpers )

set( headerDir ${CMAKE_INSTALL_INCLUDEDIR}/FlowspecDalb )
set( packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/FlowspecDalbTypes )

install( TARGETS VekPlatform
   EXPORT FlowspecDalbTypesTargets
   FILE_SET HEADERS DESTINATION ${headerDir} )
install( TARGETS FlowspecDalbTypes
   EXPORT FlowspecDalbTypesTargets
   FILE_SET HEADERS DESTINATION ${headerDir}
   FILE_SET siblings DESTINATION ${headerDir} )
install( EXPORT FlowspecDalbTypesTargets
   NAMESPACE FlowspecDalbTypes::
   DESTINATION ${packageDir} )
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/FlowspecDalbTypesConfigVersion.cmake
   COMPATIBILITY SameMajorVersion )
install( FILES
   cmake/FlowspecDalbTypesConfig.cmake
   ${PROJECT_BINARY_DIR}/FlowspecDalbTypesConfigVersion.cmake
   DESTINATION ${packageDir} )

# The file finds its prefix from where it stands, so that the tree can be moved.
set( pkgConfigDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig )
file( RELATIVE_PATH toPrefix ${CMAKE_INSTALL_PREFIX}/${pkgConfigDir} ${CMAKE_INSTALL_PREFIX} )
configure_file( cmake/FlowspecDalbTypes.pc.in FlowspecDalbTypes.pc @ONLY )
install( FILES ${PROJECT_BINARY_DIR}/FlowspecDalbTypes.pc DESTINATION ${pkgConfigDir} )

if( TARGET flowspecctl )
   install( TARGETS flowspecctl )
   install( FILES tools/flowspecctl/flowspecctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 )
   install( FILES tools/flowspecctl/flowspecctl.bash
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME flowspecctl )
endif()
if( FLOWSPEC_AGENTS )
   install( TARGETS statedbd configd programd )
   install( FILES
      agents/statedbd/statedbd.service
      agents/configd/configd.service
      agents/programd/programd.service
      DESTINATION lib/systemd/system )
endif()
install( FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} )
