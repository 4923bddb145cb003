# Libraries, public headers, the program, the CMake package and the pkg-config file.

set( libraries pb tr pr cs unix rfc iri in )
install( TARGETS ${libraries} EXPORT quelvaris-in-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} )
if( TARGET quelvaris-in )
    install( TARGETS quelvaris-in RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} )
endif()

foreach( library ${libraries} )
    install( DIRECTORY ${PROJECT_SOURCE_DIR}/source/${library} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quelvaris
        FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp" PATTERN "*_private.h" EXCLUDE PATTERN "*_private.hpp" EXCLUDE )
endforeach()
install( FILES ${CMAKE_BINARY_DIR}/generated/pb/pb_build.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quelvaris/pb )

# find_package( quelvaris-in ) gives the target quelvaris::in.
install( EXPORT quelvaris-in-targets NAMESPACE quelvaris::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quelvaris-in )
file( WRITE ${CMAKE_BINARY_DIR}/generated/quelvaris-in-config.cmake
    "include( \"\${CMAKE_CURRENT_LIST_DIR}/quelvaris-in-targets.cmake\" )\n" )
write_basic_package_version_file( ${CMAKE_BINARY_DIR}/generated/quelvaris-in-config-version.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion )
install( FILES
    ${CMAKE_BINARY_DIR}/generated/quelvaris-in-config.cmake
    ${CMAKE_BINARY_DIR}/generated/quelvaris-in-config-version.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quelvaris-in )

# The pkg-config file finds the rest from where it stands itself, so that the tree may be moved.
# It names every library, since the public headers declare what all of them export.
file( RELATIVE_PATH QUELVARIS_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig / )
list( TRANSFORM libraries PREPEND "-lquelvaris-" OUTPUT_VARIABLE flags )
list( REVERSE flags )
list( JOIN flags " " QUELVARIS_PC_LIBS )
configure_file( ${PROJECT_SOURCE_DIR}/cmake/quelvaris-in.pc.in ${CMAKE_BINARY_DIR}/generated/quelvaris-in.pc @ONLY )
install( FILES ${CMAKE_BINARY_DIR}/generated/quelvaris-in.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig )
