/* Records: what they look like whole, and what they weigh. */
#include <tr/tr_private.h>

pb::Ref<PB_STORE> tr::Record::complete() const
{
    if ( !payload )
        return store;
    pb::Ref<PB_STORE> whole = store;
    pb::Ref<PB_STRING> digits = pb::adopt( pbBufferToString( payload.get() ) );
    pbStoreSetValueCstr( whole.handle(), "payload", -1, digits.get() );
    pbStoreSetValueIntCstr( whole.handle(), "bytes", -1, pbBufferLength( payload.get() ) );
    return whole;
}

/** Without what stands below it; `below` gets that. */
static PB_INT weightOf( PB_STORE *store, std::vector<pb::Ref<PB_STORE>> &below )
{
    constexpr PB_INT storeWeight = 240, entryWeight = 160, charWeight = sizeof( PB_CHAR );
    PB_INT weight = storeWeight;
    for ( PB_INT i = 0; i < pbStoreLength( store ); ++i ) {
        weight += entryWeight;
        if ( pb::Ref<PB_STRING> value = pb::adopt( pbStoreValueAt( store, i ) ) )
            weight += charWeight * pbStringLength( value.get() );
        else
            below.push_back( pb::adopt( pbStoreStoreAt( store, i ) ) );
    }
    return weight;
}

/** Stores may be nested deeper than the stack would bear. */
PB_INT tr::Record::weight() const
{
    PB_INT weight = payload ? pbBufferLength( payload.get() ) : 0;
    std::vector<pb::Ref<PB_STORE>> left{ store };
    while ( !left.empty() ) {
        pb::Ref<PB_STORE> next = std::move( left.back() );
        left.pop_back();
        weight += weightOf( next.get(), left );
    }
    return weight;
}
