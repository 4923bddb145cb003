# Warnings, sanitizers and what the build says of itself.

if( NOT CMAKE_BUILD_TYPE )
    set( CMAKE_BUILD_TYPE RelWithDebInfo )
endif()
set( CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g" )
set( CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g" )
set( CMAKE_CXX_FLAGS_RELEASE "-O2" )
set( CMAKE_C_FLAGS_RELEASE "-O2" )

# A compiler cache is used where there is one.
find_program( QUELVARIS_CCACHE ccache )
if( QUELVARIS_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER )
    set( CMAKE_C_COMPILER_LAUNCHER ${QUELVARIS_CCACHE} )
    set( CMAKE_CXX_COMPILER_LAUNCHER ${QUELVARIS_CCACHE} )
endif()

set( QUELVARIS_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize=" )
option( QUELVARIS_COVERAGE "Measure line and branch coverage" OFF )

add_library( quelvaris_flags INTERFACE )
# Threads are held to the order of the locks, except in what is installed.
if( NOT CMAKE_BUILD_TYPE STREQUAL Release )
    target_compile_definitions( quelvaris_flags INTERFACE PB_CHECK_RANKS )
endif()
target_compile_options( quelvaris_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
    -fno-semantic-interposition -fno-plt
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wmissing-declarations> )
if( QUELVARIS_SANITIZE )
    target_compile_options( quelvaris_flags INTERFACE
        -fsanitize=${QUELVARIS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer )
    target_link_options( quelvaris_flags INTERFACE -fsanitize=${QUELVARIS_SANITIZE} )
endif()
if( QUELVARIS_COVERAGE )
    target_compile_options( quelvaris_flags INTERFACE --coverage -O0 )
    target_link_options( quelvaris_flags INTERFACE --coverage )
endif()

if( QUELVARIS_FUZZ )
    # The libraries report the branches they take, so that the fuzzer finds its way into them.
    target_compile_options( quelvaris_flags INTERFACE -fsanitize=fuzzer-no-link )
endif()

# The time of the first configuring of a build folder: a new one each time would build what has not changed.
# SOURCE_DATE_EPOCH, when set, makes the build reproducible.
if( NOT QUELVARIS_BUILD_TIME )
    string( TIMESTAMP time "UTC %Y-%m-%d %H:%M:%S (%a)" UTC )
    set( QUELVARIS_BUILD_TIME "${time}" CACHE INTERNAL "What the libraries tell as the time of their build" )
endif()
string( TOLOWER "${CMAKE_SYSTEM_NAME} ${CMAKE_SYSTEM_PROCESSOR} ${CMAKE_BUILD_TYPE}" QUELVARIS_BUILD_PLATFORM )
configure_file( ${PROJECT_SOURCE_DIR}/source/pb/pb_build.h.in ${CMAKE_BINARY_DIR}/generated/pb/pb_build.h @ONLY )
