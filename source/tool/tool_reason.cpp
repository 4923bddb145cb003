/* Why the library could not do something. */
#include <tool/tool.hpp>
#include <tool/tool_reason.hpp>

std::string tool::TracedReason::text() const
{
    std::string last = "for no reason that was traced";
    pb::Ref<PB_VECTOR> records = pb::adopt( trSinkTakeRecords( recorder.get() ) );
    for ( PB_INT i = 0; i < pbVectorLength( records.get() ); ++i ) {
        pb::Ref<PB_STORE> record = pb::adoptAs<PB_STORE>( pbVectorObjAt( records.get(), i ) );
        pb::Ref<PB_STRING> stream = pb::adopt( pbStoreValueCstr( record.get(), "name", -1 ) );
        pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( record.get(), "text", -1 ) );
        if ( stream && text && pb::text( stream.get() ) == streams )
            last = pb::text( text.get() );
    }
    std::size_t end = last.starts_with( '[' ) ? last.find( "] " ) : last.npos;
    return end == last.npos ? last : last.substr( end + 2 );
}
