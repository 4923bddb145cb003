/* Module versions, module descriptors, and this library's own record. Nothing here changes after it was made. */
#include <pb/pb_module.hpp>
#include <pb/pb_text.hpp>

struct PB_MODULE_VERSION : PB_OBJ {
    PB_INT major = 0;
    PB_INT minor = 0;
};

static PB_INT pb___ModuleVersionCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    const auto &a = *pbModuleVersionFrom( thisObj );
    const auto &b = *pbModuleVersionFrom( thatObj );
    return a.major != b.major ? pb::order( a.major, b.major ) : pb::order( a.minor, b.minor );
}

static PB_STRING *pb___ModuleVersionToStringFunc( PB_OBJ *obj )
{
    const auto &version = *pbModuleVersionFrom( obj );
    return pb::format( "%i.%i", version.major, version.minor ).give();
}

/** Descriptors are static and begin with one reference that nobody owns. */
static void pb___ModuleFreeFunc( PB_OBJ *obj )
{
    PB_ASSERT_CONTEXT( "a module's descriptor was released too often", !obj );
}

static PB_STRING *pb___ModuleToStringFunc( PB_OBJ *obj )
{
    return pbStringCreateFromCstr( pbModuleFrom( obj )->record->name, -1 );
}

PB_CLASS_DEFINE(
    PB_MODULE_VERSION, pbModuleVersion, nullptr, pb___ModuleVersionCompFunc, pb___ModuleVersionToStringFunc );
PB_CLASS_DEFINE( PB_MODULE, pbModule, pb___ModuleFreeFunc, nullptr, pb___ModuleToStringFunc );
PB_MODULE_DEFINE( pb, pbModule, "Base", "1.0", "", nullptr, nullptr, nullptr );
/* Names: pb___module_record, pb___module_version_string, pb___module, pb___sort_PB_MODULE */

/** Digits only: the scanner alone would let a sign pass. */
static bool pb___ModuleVersionScanNumber( pb::Chars text, PB_INT &number )
{
    return !text.empty() && pb::digitValue( text.front() ) < 10 && pb::scanWhole( text, 10, PB_INT_MAX, number );
}

PB_MODULE_VERSION *pbModuleVersionTryCreate( PB_STRING *text )
{
    PB_ASSERT( text );
    auto numbers = pb::split<2>( pb::chars( text ), '.' );
    PB_INT major, minor;
    if ( numbers.count != 2 || !pb___ModuleVersionScanNumber( numbers.at[0], major ) ||
         !pb___ModuleVersionScanNumber( numbers.at[1], minor ) )
        return nullptr;
    return pb::create<PB_MODULE_VERSION>( major, minor );
}

PB_MODULE_VERSION *pbModuleVersionTryCreateFromCstr( const char *text, PB_INT length )
{
    PB_ASSERT( text );
    return pbModuleVersionTryCreate( pb::adopt( pbStringCreateFromCstr( text, length ) ).get() );
}

PB_INT pbModuleVersionMajor( PB_MODULE_VERSION *version )
{
    PB_ASSERT( version );
    return version->major;
}

PB_INT pbModuleVersionMinor( PB_MODULE_VERSION *version )
{
    PB_ASSERT( version );
    return version->minor;
}

const PB_MODULE_RECORD *pbModuleRecord( PB_MODULE *module )
{
    PB_ASSERT( module );
    return module->record;
}
