/*
 * Modules and the runtime that loads them. A module "x" is a shared library libquelvaris-x.so that exports two data
 * objects: x___module_record, who it is, and x___module, what starts and stops it.
 */
#ifndef PB_MODULE_H
#define PB_MODULE_H

#include <pb/pb_string.h>

/** The version of a module, "17.1": two decimal numbers. Immutable. */
PB_CLASS( PB_MODULE_VERSION, pbModuleVersion )
/* Names: pbModuleVersionSort, pbModuleVersionObj, pbModuleVersionFrom, pbModuleVersionRetain, pbModuleVersionRelease,
   pbModuleVersionToString, pbModuleVersionCompare, pbModuleVersionEquals */

/** Null unless the text is two decimal numbers joined by a full stop. */
PB_API PB_MODULE_VERSION *pbModuleVersionTryCreate( PB_STRING *text );
PB_API PB_MODULE_VERSION *pbModuleVersionTryCreateFromCstr( const char *text, PB_INT length );
PB_API PB_INT pbModuleVersionMajor( PB_MODULE_VERSION *version );
PB_API PB_INT pbModuleVersionMinor( PB_MODULE_VERSION *version );

#define PB_MODULE_RECORD_LAYOUT 2
#define PB_MODULE_PRODUCT "quelvaris"

/** Who a module is. All texts are static and zero-terminated. */
typedef struct PB_MODULE_RECORD {
    PB_INT layout;               /* PB_MODULE_RECORD_LAYOUT */
    const char *product;         /* PB_MODULE_PRODUCT */
    const char *productFullName; /* "quelvar frontend" */
    PB_INT productMajor;
    PB_INT productMinor;
    PB_INT productPatch;
    const char *buildTime; /* "UTC 2026-02-28 23:59:59 (Sat)" */
    const char *maker;
    const char *makerFullName;
    const char *name;     /* "in" */
    const char *title;    /* "Internetworking" */
    const char *version;  /* "17.1" */
    const char *required; /* names of the modules it needs, blank-separated, alphabetical */
    const char *reserved; /* "" */
} PB_MODULE_RECORD;

/** What starts and stops a module. A static object; its functions are called by the runtime, on one thread. */
PB_CLASS( PB_MODULE, pbModule ) /* text form: the module's name */
/* Names: pbModuleSort, pbModuleObj, pbModuleFrom, pbModuleRetain, pbModuleRelease, pbModuleToString, pbModuleCompare,
   pbModuleEquals */

typedef PB_BOOL PB_MODULE_STARTUP_FUNC( void );
typedef void PB_MODULE_SHUTDOWN_FUNC( void );

/** The record of a module. */
PB_API const PB_MODULE_RECORD *pbModuleRecord( PB_MODULE *module );

/**
 * Loads and starts a module, and before it, in order, what its record requires: each library is looked for in the folders
 * added with pbRuntimeAddModulePathCstr, then beside this library, then where the system looks. Modules that run
 * already stay as they are. False when a library is missing or does not fit, with the reason in pbRuntimeErrorText;
 * what this call had started is stopped again. Not to be called from a module's own functions.
 */
PB_API PB_BOOL pbRuntimeTryStart( const char *name, PB_INT length );
/** Why the last pbRuntimeTryStart gave false: which module, which library, what is wrong; one line, a new string, or null. */
PB_API PB_STRING *pbRuntimeErrorText( void );
/** Stops all modules in reverse order of their start: first phase one of each, then phase two of each. */
PB_API void pbRuntimeStop( void );
/** The modules that run, in order of their start, a new vector of PB_MODULE. */
PB_API PB_VECTOR *pbRuntimeModulesVector( void );
/** A folder to look for module libraries in, before those added earlier. */
PB_API void pbRuntimeAddModulePathCstr( const char *path, PB_INT length );

/** This library's own descriptor. */
PB_API PB_MODULE *pbModule( void );

#endif
