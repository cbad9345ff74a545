# What all targets of the project have in common.

set( CMAKE_CXX_STANDARD 20 )
set( CMAKE_CXX_STANDARD_REQUIRED ON )
set( CMAKE_CXX_EXTENSIONS OFF )

set( CMAKE_FOLDER FlowspecDalbTypes )

# Shared, unless the builder or a project around this one says otherwise.
if( NOT DEFINED BUILD_SHARED_LIBS )
   set( BUILD_SHARED_LIBS ON )
endif()

if( PROJECT_IS_TOP_LEVEL )
   if( NOT CMAKE_BUILD_TYPE )
      set( CMAKE_BUILD_TYPE Release )
   endif()
   find_program( FLOWSPEC_CCACHE ccache )
   if( FLOWSPEC_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER )
      set( CMAKE_CXX_COMPILER_LAUNCHER ${FLOWSPEC_CCACHE} )
   endif()
endif()

# Sanitizers and coverage add symbols and initialisers of their own.
if( CMAKE_CXX_FLAGS MATCHES "-fsanitize|-fprofile" )
   set( FLOWSPEC_INSTRUMENTED ON )
else()
   set( FLOWSPEC_INSTRUMENTED OFF )
endif()

# Takes from the list `headers` of the caller those that are the libraries' own business: they are
# neither installed nor documented, and what they declare is not exported.
file( STRINGS ${PROJECT_SOURCE_DIR}/cmake/privateHeaders.txt FLOWSPEC_PRIVATE_HEADERS )
set_property( DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY
   CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/privateHeaders.txt )
list( TRANSFORM FLOWSPEC_PRIVATE_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/ )
macro( flowspec_keep_public headers )
   list( REMOVE_ITEM ${headers} ${FLOWSPEC_PRIVATE_HEADERS} )
endmacro()

function( flowspec_warnings target )
   target_compile_options( ${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion )
endfunction()

# Compiles `target` as a part of a shared library; `module` is the name in its assertions and
# trace records.
function( flowspec_library_part target module )
   flowspec_warnings( ${target} )
   target_compile_features( ${target} PUBLIC cxx_std_20 )
   target_compile_definitions( ${target} PRIVATE OSK_MODULE="${module}" )
   # Where compiling the programs and tests costs more than running them, the libraries alone are
   # optimised.
   target_compile_options( ${target} PRIVATE ${FLOWSPEC_LIBRARY_FLAGS} )
   # What costs nothing measurable where the libraries are optimised. A packager's own choice of
   # checked functions stands.
   if( CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT FLOWSPEC_INSTRUMENTED )
      target_compile_options( ${target} PRIVATE
         -fstack-protector-strong -fstack-clash-protection -fcf-protection )
      if( NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE" )
         target_compile_definitions( ${target} PRIVATE _FORTIFY_SOURCE=2 )
      endif()
   endif()
   # A library with unique symbols stays in the process when it is unloaded.
   target_compile_options( ${target} PRIVATE -fno-semantic-interposition
      $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique> )
   set_target_properties( ${target} PROPERTIES
      POSITION_INDEPENDENT_CODE ON
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON )
endfunction()

# Types are found by name, so nothing need call what registers a library's modules. Whatever is
# linked with the archive takes it by the names of these variables.
function( flowspec_modules target )
   if( NOT BUILD_SHARED_LIBS )
      list( TRANSFORM ARGN PREPEND LINKER:--undefined= )
      target_link_options( ${target} INTERFACE ${ARGN} )
   endif()
endfunction()

# A library of the project: a part, and where it is a shared one, its version and the binding of its
# calls to itself.
function( flowspec_library target module )
   flowspec_library_part( ${target} ${module} )
   # What templates of the standard library become here is for no one else.
   target_link_options( ${target} PRIVATE -Wl,-Bsymbolic-functions -Wl,-z,relro,-z,now
      LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map )
   set_property( TARGET ${target} APPEND PROPERTY
      LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map )
   # CMake before 3.23 passes over sets of headers.
   target_include_directories( ${target} INTERFACE
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/FlowspecDalb> )
   set_target_properties( ${target} PROPERTIES
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}
      INSTALL_RPATH "$ORIGIN" )
   add_library( FlowspecDalbTypes::${target} ALIAS ${target} )
endfunction()
