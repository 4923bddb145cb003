/*
 * Texts of error numbers, the same in every locale. Those of errno are the C library's own, untranslated; for the codes of
 * getaddrinfo it has only translated ones, so they stand here.
 */
#include <algorithm>
#include <cstring>
#include <netdb.h>
#include <pb/pb.hpp>
#include <unix/unix.h>

namespace {

struct CodeText {
    int code;
    const char *text;
};

constexpr CodeText getaddrinfoTexts[] = {
    { EAI_BADFLAGS, "Bad value for ai_flags" },
    { EAI_NONAME, "Name or service not known" },
    { EAI_AGAIN, "Temporary failure in name resolution" },
    { EAI_FAIL, "Non-recoverable failure in name resolution" },
    { EAI_NODATA, "No address associated with hostname" },
    { EAI_FAMILY, "ai_family not supported" },
    { EAI_SOCKTYPE, "ai_socktype not supported" },
    { EAI_SERVICE, "Servname not supported for ai_socktype" },
    { EAI_ADDRFAMILY, "Address family for hostname not supported" },
    { EAI_MEMORY, "Memory allocation failure" },
    { EAI_SYSTEM, "System error" },
    { EAI_OVERFLOW, "Result too large for supplied buffer" },
    { EAI_IDN_ENCODE, "Parameter string not correctly encoded" },
};

} // namespace

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
    const CodeText *row = std::ranges::find( getaddrinfoTexts, code, &CodeText::code );
    return row == std::end( getaddrinfoTexts ) ? unknownError( code ) : pbStringCreateFromCstr( row->text, -1 );
}
