/* Layer-2 addresses. No state. */
#include <in/kit/in_accessors_private.hpp>
#include <in/nw/in_nw_address.h>

struct IN_NW_ADDRESS : PB_OBJ {
    PB_INT type = IN_NW_ADDRESS_TYPE_MAC;
    pb::Ref<IN_NW_MAC_ADDRESS> mac; // not null when the type says so
};

namespace {

PB_INT in___NwAddressCompareFunc( PB_OBJ *a, PB_OBJ *b )
{
    IN_NW_ADDRESS *thisObj = inNwAddressFrom( a );
    IN_NW_ADDRESS *thatObj = inNwAddressFrom( b );
    PB_INT types = pb::order( thisObj->type, thatObj->type );
    return types ? types : in::compareValues( thisObj->mac, thatObj->mac );
}

PB_STRING *in___NwAddressToStringFunc( PB_OBJ *obj )
{
    return inNwMacAddressToString( inNwAddressFrom( obj )->mac.get() );
}

} // namespace

PB_CLASS_DEFINE(
    IN_NW_ADDRESS, inNwAddress, pb::destroy<IN_NW_ADDRESS>, in___NwAddressCompareFunc, in___NwAddressToStringFunc );

IN_NW_ADDRESS *inNwAddressCreateMac( IN_NW_MAC_ADDRESS *mac )
{
    PB_ASSERT( mac );
    return pb::create<IN_NW_ADDRESS>( PB_INT( IN_NW_ADDRESS_TYPE_MAC ), pb::share( mac ) );
}

PB_INT inNwAddressType( IN_NW_ADDRESS *nwa )
{
    PB_ASSERT( nwa );
    return nwa->type;
}

IN_NW_MAC_ADDRESS *inNwAddressMac( IN_NW_ADDRESS *nwa )
{
    PB_ASSERT( nwa );
    return nwa->mac.retained();
}

PB_BOOL inNwAddressHasMac( IN_NW_ADDRESS *nwa )
{
    PB_ASSERT( nwa );
    return bool( nwa->mac );
}

PB_STORE *inNwAddressStore( IN_NW_ADDRESS *nwa )
{
    PB_ASSERT( nwa );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    in::writeText( store.handle(), "type", inNwAddressTypeToString( nwa->type ) );
    in::writeText( store.handle(), "mac", inNwMacAddressToString( nwa->mac.get() ) );
    return store.give();
}

IN_NW_ADDRESS *inNwAddressTryRestore( PB_STORE *store )
{
    PB_ASSERT( store );
    pb::Ref<PB_STRING> type = pb::adopt( pbStoreValueCstr( store, "type", -1 ) );
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, "mac", -1 ) );
    if ( !type || !text || !IN_NW_ADDRESS_TYPE_OK( inNwAddressTypeFromString( type.get() ) ) )
        return nullptr;
    pb::Ref<IN_NW_MAC_ADDRESS> mac = pb::adopt( inNwMacAddressTryCreateFromString( text.get() ) );
    return mac ? inNwAddressCreateMac( mac.get() ) : nullptr;
}
