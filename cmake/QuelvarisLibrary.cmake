# quelvaris_library( name VERSION x.y [USES companions...] [LINK system libraries...] )
#
# One library from source/<name>: the sources are compiled once, position-independent, and make both the shared
# libquelvaris-<name>.so (target <name>, only the symbols of exports.map) and the static one that tests link
# (target <name>-static, every symbol).

function( quelvaris_library name )
    cmake_parse_arguments( ARG "" "VERSION" "USES;LINK" ${ARGN} )
    file( GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/source/${name}/*.cpp )
    set( map ${PROJECT_SOURCE_DIR}/source/${name}/exports.map )

    add_library( ${name}-objects OBJECT ${sources} )
    set_target_properties( ${name}-objects PROPERTIES POSITION_INDEPENDENT_CODE ON )
    target_compile_definitions( ${name}-objects PRIVATE PB_MODULE_NAME=${name} )
    target_include_directories( ${name}-objects PUBLIC
        ${PROJECT_SOURCE_DIR}/source ${CMAKE_BINARY_DIR}/generated )
    target_link_libraries( ${name}-objects PRIVATE quelvaris_flags )

    add_library( ${name} SHARED )
    target_link_libraries( ${name} PRIVATE ${name}-objects quelvaris_flags ${ARG_LINK} )
    set_target_properties( ${name} PROPERTIES
        OUTPUT_NAME quelvaris-${name}
        VERSION ${ARG_VERSION}.0
        SOVERSION ${ARG_VERSION}
        LINK_DEPENDS ${map}
        BUILD_RPATH "$ORIGIN"
        INSTALL_RPATH "$ORIGIN" )
    target_link_options( ${name} PRIVATE
        -Wl,--version-script=${map} -Wl,-Bsymbolic-functions -Wl,--as-needed )
    if( NOT QUELVARIS_SANITIZE )
        target_link_options( ${name} PRIVATE -Wl,--no-undefined )
    endif()
    target_include_directories( ${name} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/source>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/quelvaris> )

    add_library( ${name}-static STATIC )
    target_link_libraries( ${name}-static PUBLIC ${name}-objects ${ARG_LINK} )
    set_target_properties( ${name}-static PROPERTIES OUTPUT_NAME quelvaris-${name}-static )

    foreach( used ${ARG_USES} )
        target_link_libraries( ${name} PUBLIC ${used} )
        target_link_libraries( ${name}-static PUBLIC ${used}-static )
    endforeach()
endfunction()
