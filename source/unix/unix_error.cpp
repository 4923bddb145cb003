/* Texts of error numbers. The C library's own, untranslated, so that they need no buffer and no lock. */
#include <cstring>
#include <netdb.h>
#include <pb/pb.hpp>
#include <unix/unix.h>

static PB_STRING *unknownError( PB_INT number )
{
    return pb::format( "Unknown error %i", number ).give();
}

PB_STRING *unixErrorToString( PB_INT error )
{
    const char *name = PB_INT_TO_SIGNED_INT_CONV_OK( error ) ? strerrorname_np( static_cast<int>( error ) ) : nullptr;
    if ( !name )
        return unknownError( error );
    pb::Ref<PB_STRING> text = pb::string( strerrordesc_np( static_cast<int>( error ) ) );
    return error == 0 ? text.give() : pb::format( "%s (%~s)", text, pbStringCreateFromCstr( name, -1 ) ).give();
}

PB_STRING *unixErrorGetaddrinfoToString( PB_INT code )
{
    const char *text = PB_INT_TO_SIGNED_INT_CONV_OK( code ) ? gai_strerror( static_cast<int>( code ) ) : nullptr;
    if ( !text || std::strcmp( text, "Unknown error" ) == 0 )
        return unknownError( code );
    return pbStringCreateFromCstr( text, -1 );
}
