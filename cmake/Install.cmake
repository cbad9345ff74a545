# The installed tree: the libraries, their headers, the CMake package, the pkg-config file, the tool
# and the daemons. Components: Runtime (the shared libraries), Development, Tools and Agents.
include( CMakePackageConfigHelpers )

set( headerDir ${CMAKE_INSTALL_INCLUDEDIR}/FlowspecDalb )
set( packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/FlowspecDalbTypes )

set( libraryParts
   LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
   ARCHIVE COMPONENT Development
   FILE_SET HEADERS DESTINATION ${headerDir} COMPONENT Development )
install( TARGETS VekPlatform FlowspecPeers FlowspecWire FlowspecMatch
   EXPORT FlowspecDalbTypesTargets ${libraryParts} )
install( TARGETS FlowspecDalbTypes
   EXPORT FlowspecDalbTypesTargets ${libraryParts}
   FILE_SET siblings DESTINATION ${headerDir} COMPONENT Development )
install( EXPORT FlowspecDalbTypesTargets
   NAMESPACE FlowspecDalbTypes::
   DESTINATION ${packageDir}
   COMPONENT Development )
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/FlowspecDalbTypesConfigVersion.cmake
   COMPATIBILITY SameMajorVersion )
install( FILES
   cmake/FlowspecDalbTypesConfig.cmake
   ${PROJECT_BINARY_DIR}/FlowspecDalbTypesConfigVersion.cmake
   DESTINATION ${packageDir}
   COMPONENT Development )

# The files find their prefix from where they stand, so that the tree can be moved.
set( pkgConfigDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig )
file( RELATIVE_PATH toPrefix ${CMAKE_INSTALL_PREFIX}/${pkgConfigDir} ${CMAKE_INSTALL_PREFIX} )
foreach( package FlowspecDalbTypes FlowspecPeers FlowspecWire FlowspecMatch )
   # What a program is to be linked with so that an archive's types are in it.
   get_target_property( options ${package} INTERFACE_LINK_OPTIONS )
   set( linkOptions "" )
   if( options )
      list( TRANSFORM options REPLACE "LINKER:" "-Wl," )
      list( JOIN options " " linkOptions )
      string( PREPEND linkOptions " " )
   endif()
   configure_file( cmake/${package}.pc.in ${package}.pc @ONLY )
   install( FILES ${PROJECT_BINARY_DIR}/${package}.pc
      DESTINATION ${pkgConfigDir} COMPONENT Development )
endforeach()

if( TARGET flowspecctl )
   install( TARGETS flowspecctl COMPONENT Tools )
   install( FILES tools/flowspecctl/flowspecctl.1
      DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools )
   install( FILES tools/flowspecctl/flowspecctl.bash
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME flowspecctl
      COMPONENT Tools )
endif()
if( FLOWSPEC_AGENTS )
   install( TARGETS ${FLOWSPEC_DAEMONS} RUNTIME DESTINATION ${FLOWSPEC_DAEMON_DIR} COMPONENT Agents )
   foreach( daemon statedbd configd peerd programd )
      install( FILES agents/${daemon}/${daemon}.8
         DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT Agents )
   endforeach()
   # The units name the programs by the prefix that the tree is installed under, which
   # `cmake --install --prefix` may choose later than the build was configured.
   set( FLOWSPEC_UNIT_DIR lib/systemd/system CACHE STRING
      "Folder of the systemd units, below the prefix unless it is absolute" )
   install( CODE "
      set( FLOWSPEC_BINDIR \"${FLOWSPEC_DAEMON_DIR}\" )
      cmake_path( ABSOLUTE_PATH FLOWSPEC_BINDIR BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" NORMALIZE )
      set( FLOWSPEC_DATADIR \"${CMAKE_INSTALL_DATADIR}/flowspec\" )
      cmake_path( ABSOLUTE_PATH FLOWSPEC_DATADIR BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" NORMALIZE )
      configure_file(
         \"${PROJECT_SOURCE_DIR}/agents/etc/tmpfiles.conf.in\"
         \"${PROJECT_BINARY_DIR}/tmpfiles.conf\" @ONLY )
      foreach( daemon statedbd configd peerd programd )
         configure_file(
            \"${PROJECT_SOURCE_DIR}/agents/\${daemon}/\${daemon}.service.in\"
            \"${PROJECT_BINARY_DIR}/units/flowspec-\${daemon}.service\" @ONLY )
      endforeach()"
      COMPONENT Agents )
   install( DIRECTORY ${PROJECT_BINARY_DIR}/units/
      DESTINATION ${FLOWSPEC_UNIT_DIR} COMPONENT Agents )
   # The daemons' user and folders.
   install( FILES agents/etc/sysusers.conf
      DESTINATION lib/sysusers.d RENAME flowspec.conf COMPONENT Agents )
   install( FILES ${PROJECT_BINARY_DIR}/tmpfiles.conf
      DESTINATION lib/tmpfiles.d RENAME flowspec.conf COMPONENT Agents )
   install( FILES agents/etc/rules.jsonl agents/etc/profile.json agents/etc/peerd.json
      DESTINATION ${CMAKE_INSTALL_DATADIR}/flowspec COMPONENT Agents )
endif()
install( FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Runtime )
if( PROJECT_IS_TOP_LEVEL )
   add_custom_target( uninstall
      COMMAND ${CMAKE_COMMAND} -DMANIFESTS=${PROJECT_BINARY_DIR} -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake )
endif()
