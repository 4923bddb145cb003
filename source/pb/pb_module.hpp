/* What makes a shared library a module: its record and its descriptor, defined once by PB_MODULE_DEFINE. */
#ifndef PB_MODULE_HPP
#define PB_MODULE_HPP

#include <pb/pb.hpp>
#include <pb/pb_build.h>

/**
 * Defines name___module_record, name___module, name___module_version_string and the function that returns the
 * descriptor. The texts are literals; the functions may be nullptr.
 */
#define PB_MODULE_DEFINE( name, function, title, version, required, startup, shutdown, shutdownWait ) \
    PB_API const PB_MODULE_RECORD name##___module_record; \
    PB_API const char *const name##___module_version_string; \
    PB_API PB_MODULE name##___module; \
    const PB_MODULE_RECORD name##___module_record = { PB_MODULE_RECORD_LAYOUT, PB_MODULE_PRODUCT, "quelvar frontend", \
        PB_BUILD_MAJOR, PB_BUILD_MINOR, PB_BUILD_PATCH, PB_BUILD_TIME, PB_BUILD_MAKER, PB_BUILD_MAKER_FULL_NAME, #name, \
        title, version, required, "" }; \
    const char *const name##___module_version_string = \
        "###XZ_VERSION### " PB_MODULE_PRODUCT "-" PB_BUILD_VERSION " (" PB_BUILD_PLATFORM "), " #name " " version; \
    PB_MODULE name##___module = { { pbModuleSort(), 1 }, startup, nullptr, shutdown, shutdownWait, \
        &name##___module_record }; \
    PB_MODULE *function( void ) { return &name##___module; } \
    static_assert( true )

#endif
