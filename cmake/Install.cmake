# The installed tree: the libraries, their headers, the CMake package, the pkg-config file, the tool
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
install( TARGETS FlowspecPeers FlowspecWire FlowspecMatch
   EXPORT FlowspecDalbTypesTargets
   FILE_SET HEADERS DESTINATION ${headerDir} )
install( EXPORT FlowspecDalbTypesTargets
   NAMESPACE FlowspecDalbTypes::
   DESTINATION ${packageDir} )
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/FlowspecDalbTypesConfigVersion.cmake
   COMPATIBILITY SameMajorVersion )
install( FILES
   cmake/FlowspecDalbTypesConfig.cmake
   ${PROJECT_BINARY_DIR}/FlowspecDalbTypesConfigVersion.cmake
   DESTINATION ${packageDir} )

# The files find their prefix from where they stand, so that the tree can be moved.
set( pkgConfigDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig )
file( RELATIVE_PATH toPrefix ${CMAKE_INSTALL_PREFIX}/${pkgConfigDir} ${CMAKE_INSTALL_PREFIX} )
foreach( package FlowspecDalbTypes FlowspecPeers FlowspecWire FlowspecMatch )
   configure_file( cmake/${package}.pc.in ${package}.pc @ONLY )
   install( FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${pkgConfigDir} )
endforeach()

if( TARGET flowspecctl )
   install( TARGETS flowspecctl )
   install( FILES tools/flowspecctl/flowspecctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 )
   install( FILES tools/flowspecctl/flowspecctl.bash
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME flowspecctl )
endif()
if( FLOWSPEC_AGENTS )
   install( TARGETS statedbd configd peerd programd )
   foreach( daemon statedbd configd peerd programd )
      install( FILES agents/${daemon}/${daemon}.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 )
   endforeach()
   # The units name the programs by the prefix that the tree is installed under, which
   # `cmake --install --prefix` may choose later than the build was configured.
   set( FLOWSPEC_UNIT_DIR lib/systemd/system CACHE STRING
      "Folder of the systemd units, below the prefix unless it is absolute" )
   install( CODE "
      set( FLOWSPEC_BINDIR \"${CMAKE_INSTALL_BINDIR}\" )
      cmake_path( ABSOLUTE_PATH FLOWSPEC_BINDIR BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" NORMALIZE )
      foreach( daemon statedbd configd peerd programd )
         configure_file(
            \"${PROJECT_SOURCE_DIR}/agents/\${daemon}/\${daemon}.service.in\"
            \"${PROJECT_BINARY_DIR}/units/\${daemon}.service\" @ONLY )
      endforeach()" )
   install( DIRECTORY ${PROJECT_BINARY_DIR}/units/ DESTINATION ${FLOWSPEC_UNIT_DIR} )
endif()
install( FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} )
