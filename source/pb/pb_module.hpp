/* What makes a shared library a module: its record and its descriptor, defined once by PB_MODULE_DEFINE. */
#ifndef PB_MODULE_HPP
#define PB_MODULE_HPP

#include <pb/pb.hpp>
#include <pb/pb_build.h>

/** The sort of descriptors as a data object: what pbModuleSort returns, but good for static initialisation. */
PB_API const PB_SORT pb___sort_PB_MODULE;

/**
 * Defines name___module_record, name___module, name___module_version_string and the function that returns the
 * descriptor. The texts are literals; the functions may be nullptr. All of it is initialised by the compiler and the
 * linker, so that it can be read before any constructor of the module has run.
 */
#define PB_MODULE_DEFINE( name, function, title, version, required, startup, shutdown, shutdownWait )                 \
    PB_API const PB_MODULE_RECORD name##___module_record;                                                             \
    PB_API const char *const name##___module_version_string;                                                          \
    PB_API constinit PB_MODULE name##___module;                                                                       \
    const PB_MODULE_RECORD name##___module_record = { PB_MODULE_RECORD_LAYOUT, PB_MODULE_PRODUCT, "quelvar frontend", \
        PB_BUILD_MAJOR, PB_BUILD_MINOR, PB_BUILD_PATCH, PB_BUILD_TIME, PB_BUILD_MAKER, PB_BUILD_MAKER_FULL_NAME,      \
        #name, title, version, required, "" };                                                                        \
    const char *const name##___module_version_string =                                                                \
        "###XZ_VERSION### " PB_MODULE_PRODUCT "-" PB_BUILD_VERSION " (" PB_BUILD_PLATFORM "), " #name " " version;    \
    constinit PB_MODULE name##___module = {                                                                           \
        { &pb___sort_PB_MODULE, {} }, startup, nullptr, shutdown, shutdownWait, &name##___module_record };            \
    PB_MODULE *function( void )                                                                                       \
    {                                                                                                                 \
        return &name##___module;                                                                                      \
    }                                                                                                                 \
    static_assert( true )

#endif
