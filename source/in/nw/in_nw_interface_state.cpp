/* Snapshots of interfaces: one table of rows for storing, restoring and comparing. No state of its own. */
#include <in/kit/in_settings_private.hpp>
#include <in/nw/in_nw_interface_state.h>
#include <pb/pb_dict.h>

namespace {

constexpr PB_INT absent = -1; // of numbers, which are never negative

/** A truth value, stored always. */
template <class Owner>
struct TruthRow {
    const char *key;
    bool Owner::*member;

    bool stored( bool, bool ) const { return true; }
    void write( PB_STORE **store, bool value, bool ) const { in::writeValue( store, key, value ); }
    in::Ignored read( PB_STORE *store, bool &value ) const { return in::readValue( store, key, value ); }
};

/** A set of objects, stored as an array, empty or not. */
template <class Owner, class T>
struct SetRow {
    const char *key;
    pb::Ref<PB_DICT> Owner::*member;
    void ( *append )( PB_STORE **array, T *object );
    pb::Ref<T> ( *tryReadAt )( PB_STORE *array, PB_INT index );

    bool stored( const pb::Ref<PB_DICT> &, bool ) const { return true; }
    void write( PB_STORE **store, const pb::Ref<PB_DICT> &set, bool ) const
    {
        pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
        pb::Ref<PB_VECTOR> objects = pb::adopt( pbDictKeysVector( set.get() ) );
        for ( PB_INT i = 0; i < pbVectorLength( objects.get() ); ++i )
            append( array.handle(), pb::adoptAs<T>( pbVectorObjAt( objects.get(), i ) ).get() );
        in::writeStore( store, key, array.give() );
    }
    /** What does not parse is left out. */
    in::Ignored read( PB_STORE *store, pb::Ref<PB_DICT> &set ) const
    {
        pb::Ref<PB_STORE> array = pb::adopt( pbStoreStoreCstr( store, key, -1 ) );
        if ( !array || !pbStoreIsArray( array.get() ) )
            return in::wrongType;
        set = pb::adopt( pbDictCreate() );
        for ( PB_INT i = 0; i < pbStoreLength( array.get() ); ++i )
            if ( pb::Ref<T> object = tryReadAt( array.get(), i ) )
                pbDictSet( set.handle(), pb::obj( object.get() ), pb::obj( object.get() ) );
        return {};
    }
};

template <class T, PB_STORE *( *ToStore )( T * )>
void appendStore( PB_STORE **array, T *object )
{
    pbStoreAppendStore( array, pb::adopt( ToStore( object ) ).get() );
}

template <class T, PB_STRING *( *ToText )( T * )>
void appendText( PB_STORE **array, T *object )
{
    pbStoreAppendValue( array, pb::adopt( ToText( object ) ).get() );
}

template <class T, T *( *TryFromStore )( PB_STORE * )>
pb::Ref<T> tryReadStore( PB_STORE *array, PB_INT index )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreStoreAt( array, index ) );
    return store ? pb::adopt( TryFromStore( store.get() ) ) : nullptr;
}

template <class T, T *( *TryFromText )( PB_STRING * )>
pb::Ref<T> tryReadText( PB_STORE *array, PB_INT index )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueAt( array, index ) );
    return text ? pb::adopt( TryFromText( text.get() ) ) : nullptr;
}

IN_ADDRESS *tryUnicastFromText( PB_STRING *text )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromString( text ) );
    return ina && inAddressIsUnicast( ina.get() ) ? ina.give() : nullptr;
}

} // namespace

struct IN_NW_INTERFACE_STATE : PB_OBJ {
    bool end = false;
    pb::Ref<PB_STRING> displayName;
    PB_INT status = absent;
    PB_INT flags = 0;
    pb::Ref<PB_DICT> layer2Addresses = pb::adopt( pbDictCreate() ); // these sets: each object leads to itself
    PB_INT layer2Mtu = absent;
    PB_INT layer2SpeedReceive = absent;
    PB_INT layer2SpeedTransmit = absent;
    pb::Ref<PB_DICT> layer3UnicastAddresses = pb::adopt( pbDictCreate() );
    pb::Ref<PB_DICT> layer3Networks = pb::adopt( pbDictCreate() );

    static constexpr bool statusOk( PB_INT status ) { return IN_NW_INTERFACE_STATUS_OK( status ); }
    static constexpr bool anyFlags( PB_INT ) { return true; }

    static constexpr auto options()
    {
        using State = IN_NW_INTERFACE_STATE;
        using Number = in::OptionalIntRow<State>;
        return std::tuple{
            TruthRow<State>{ "end", &State::end },
            in::TextRow<State, PB_STRING>{ "displayName", &State::displayName, pbStringRetain, pbStringRetain },
            in::NameRow<State>{ "status", &State::status, absent, inNwInterfaceStatusToString,
                inNwInterfaceStatusFromString, statusOk },
            in::NameRow<State>{
                "flags", &State::flags, 0, inNwInterfaceFlagsToString, inNwInterfaceFlagsFromString, anyFlags },
            SetRow<State, IN_NW_ADDRESS>{ "layer2Addresses", &State::layer2Addresses,
                appendStore<IN_NW_ADDRESS, inNwAddressStore>, tryReadStore<IN_NW_ADDRESS, inNwAddressTryRestore> },
            Number{ "layer2Mtu", &State::layer2Mtu },
            Number{ "layer2SpeedReceive", &State::layer2SpeedReceive },
            Number{ "layer2SpeedTransmit", &State::layer2SpeedTransmit },
            SetRow<State, IN_ADDRESS>{ "layer3UnicastAddresses", &State::layer3UnicastAddresses,
                appendText<IN_ADDRESS, inAddressToString>, tryReadText<IN_ADDRESS, tryUnicastFromText> },
            SetRow<State, IN_NETWORK>{ "layer3Networks", &State::layer3Networks,
                appendText<IN_NETWORK, inNetworkToString>, tryReadText<IN_NETWORK, inNetworkTryCreateFromString> },
        };
    }
};

PB_CLASS_DEFINE( IN_NW_INTERFACE_STATE, inNwInterfaceState, pb::destroy<IN_NW_INTERFACE_STATE>,
    in::compareOptionsObjects<IN_NW_INTERFACE_STATE>, nullptr );

IN_NW_INTERFACE_STATE *inNwInterfaceStateCreate( void )
{
    return pb::create<IN_NW_INTERFACE_STATE>();
}

IN_CREATE_FROM_DEFINE( IN_NW_INTERFACE_STATE, inNwInterfaceState );

PB_STORE *inNwInterfaceStateStore( IN_NW_INTERFACE_STATE *state )
{
    PB_ASSERT( state );
    return in::storeOptions( *state, true );
}

IN_NW_INTERFACE_STATE *inNwInterfaceStateRestore( PB_STORE *store )
{
    PB_ASSERT( store );
    return in::restoreOptions<IN_NW_INTERFACE_STATE>( store );
}

PB_BOOL inNwInterfaceStateEnd( IN_NW_INTERFACE_STATE *state )
{
    PB_ASSERT( state );
    return state->end;
}

void inNwInterfaceStateSetEnd( IN_NW_INTERFACE_STATE **state, PB_BOOL end )
{
    IN_ASSERT_HANDLE( state );
    PB_UNSHARE( state, inNwInterfaceStateCreateFrom ).end = end;
}

PB_INT inNwInterfaceStateFlags( IN_NW_INTERFACE_STATE *state )
{
    PB_ASSERT( state );
    return state->flags;
}

void inNwInterfaceStateSetFlags( IN_NW_INTERFACE_STATE **state, PB_INT flags )
{
    IN_ASSERT_HANDLE( state );
    PB_UNSHARE( state, inNwInterfaceStateCreateFrom ).flags = inNwInterfaceFlagsNormalize( flags );
}

namespace {

using State = IN_NW_INTERFACE_STATE;

/** An optional number of a state. Other than that of options, its getter aborts when it is absent. */
PB_INT presentNumber( State *state, PB_INT State::*member, const char *hasNumber, const in::Place &place )
{
    in::assertAt( in::has( state, member, place ), hasNumber, place );
    return state->*member;
}

/** A set of a state, whose members are of class T. */
template <class T, class Test>
struct Set {
    pb::Ref<PB_DICT> State::*member;
    in::Parameter<Test> item; // what is asked of an object that is entered

    PB_DICT *of( State *state, const in::Place &place ) const { return ( in::existing( state, place ).*member ).get(); }
    T *at( State *state, PB_INT index, const in::Place &place ) const
    {
        return pb::adoptAs<T>( pbDictKeyAt( of( state, place ), index ) ).give();
    }
    bool has( State *state, T *object, const in::Place &place ) const
    {
        PB_DICT *objects = of( state, place );
        in::assertAt( object, item.name, place );
        return pbDictHas( objects, pb::obj( object ) );
    }
    void enter( State **state, T *object, const in::Place &place ) const
    {
        in::assertHandle( state, place );
        item.check( object, place );
        pbDictSet( ( in::unshared( state ).*member ).handle(), pb::obj( object ), pb::obj( object ) );
    }
    void remove( State **state, T *object, const in::Place &place ) const
    {
        in::assertHandle( state, place );
        in::assertAt( object, item.name, place );
        pbDictDel( ( in::unshared( state ).*member ).handle(), pb::obj( object ) );
    }
};

template <class T, class Test>
constexpr Set<T, Test> setOf( pb::Ref<PB_DICT> State::*member, in::Parameter<Test> item )
{
    return { member, item };
}

} // namespace

/** Defines what IN_NW_STATE_NUMBER declares. `parameter` names the value in `precondition`, the text of the abort. */
#define IN_NW_STATE_NUMBER_DEFINE( Layer, Name, member, parameter, precondition )                             \
    PB_INT inNwInterfaceState##Layer##Name( State *state )                                                    \
    {                                                                                                         \
        return presentNumber(                                                                                 \
            state, &State::member, "inNwInterfaceState" #Layer "Has" #Name "( state )", IN_PLACE( state ) );  \
    }                                                                                                         \
    PB_BOOL inNwInterfaceState##Layer##Has##Name( State *state )                                              \
    {                                                                                                         \
        return in::has( state, &State::member, IN_PLACE( state ) );                                           \
    }                                                                                                         \
    static constexpr auto member##Parameter = IN_PARAMETER( PB_INT, parameter, precondition, #precondition ); \
    void inNwInterfaceState##Layer##Set##Name( State **state, PB_INT parameter )                              \
    {                                                                                                         \
        in::set( state, &State::member, parameter, member##Parameter, IN_PLACE( state ) );                    \
    }                                                                                                         \
    void inNwInterfaceState##Layer##Del##Name( State **state )                                                \
    {                                                                                                         \
        in::del( state, &State::member, IN_PLACE( state ) );                                                  \
    }                                                                                                         \
    static_assert( true )

/** Defines what IN_NW_STATE_SET declares, likewise. */
#define IN_NW_STATE_SET_DEFINE( Layer, Many, One, member, TYPE, parameter, precondition )              \
    static constexpr auto member =                                                                     \
        setOf<TYPE>( &State::member, IN_PARAMETER( TYPE *, parameter, precondition, #precondition ) ); \
    PB_VECTOR *inNwInterfaceState##Layer##Many##Vector( State *state )                                 \
    {                                                                                                  \
        return pbDictKeysVector( member.of( state, IN_PLACE( state ) ) );                              \
    }                                                                                                  \
    PB_INT inNwInterfaceState##Layer##Many##Length( State *state )                                     \
    {                                                                                                  \
        return pbDictLength( member.of( state, IN_PLACE( state ) ) );                                  \
    }                                                                                                  \
    TYPE *inNwInterfaceState##Layer##One##At( State *state, PB_INT index )                             \
    {                                                                                                  \
        return member.at( state, index, IN_PLACE( state ) );                                           \
    }                                                                                                  \
    PB_BOOL inNwInterfaceState##Layer##Has##One( State *state, TYPE *parameter )                       \
    {                                                                                                  \
        return member.has( state, parameter, IN_PLACE( state ) );                                      \
    }                                                                                                  \
    void inNwInterfaceState##Layer##Set##One( State **state, TYPE *parameter )                         \
    {                                                                                                  \
        member.enter( state, parameter, IN_PLACE( state ) );                                           \
    }                                                                                                  \
    void inNwInterfaceState##Layer##Del##One( State **state, TYPE *parameter )                         \
    {                                                                                                  \
        member.remove( state, parameter, IN_PLACE( state ) );                                          \
    }                                                                                                  \
    static_assert( true )

IN_OPTIONAL_DEFINE(
    IN_NW_INTERFACE_STATE, inNwInterfaceState, DisplayName, displayName, PB_STRING, state, displayName );
IN_NW_STATE_NUMBER_DEFINE(, Status, status, status, IN_NW_INTERFACE_STATUS_OK( status ) );
IN_NW_STATE_NUMBER_DEFINE( Layer2, Mtu, layer2Mtu, mtu, mtu >= 0 );
IN_NW_STATE_NUMBER_DEFINE( Layer2, SpeedReceive, layer2SpeedReceive, bitsPerSecond, bitsPerSecond >= 0 );
IN_NW_STATE_NUMBER_DEFINE( Layer2, SpeedTransmit, layer2SpeedTransmit, bitsPerSecond, bitsPerSecond >= 0 );
IN_NW_STATE_SET_DEFINE( Layer2, Addresses, Address, layer2Addresses, IN_NW_ADDRESS, nwa, true );
IN_NW_STATE_SET_DEFINE(
    Layer3, UnicastAddresses, UnicastAddress, layer3UnicastAddresses, IN_ADDRESS, ina, inAddressIsUnicast( ina ) );
IN_NW_STATE_SET_DEFINE( Layer3, Networks, Network, layer3Networks, IN_NETWORK, net, true );
