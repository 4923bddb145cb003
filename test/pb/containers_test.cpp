/* Vectors, dictionaries, range maps and priority maps: each against a model, alone and shared. */
#include "container_support.h"

using namespace test;

namespace {

pb::Ref<PB_VECTOR> vectorOf( const std::vector<PB_INT> &values )
{
    pb::Ref<PB_VECTOR> vec = pb::adopt( pbVectorCreate() );
    for ( PB_INT value : values )
        pbVectorAppend( vec.handle(), boxed( value ).get() );
    return vec;
}

pb::Ref<PB_DICT> dictOf( const std::map<PB_INT, PB_INT> &model )
{
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    for ( auto [key, value] : model )
        pbDictSet( dict.handle(), boxed( key ).get(), boxed( value ).get() );
    return dict;
}

struct RangeStep {
    PB_INT first, last, value; // -1 deletes
};

void apply( PB_RANGE_MAP **map, RangeStep step )
{
    if ( step.value < 0 )
        pbRangeMapDelRange( map, step.first, step.last );
    else if ( step.first == step.last )
        pbRangeMapSetKey( map, step.first, boxed( step.value ).get() );
    else
        pbRangeMapSetRange( map, step.first, step.last, boxed( step.value ).get() );
}

pb::Ref<PB_RANGE_MAP> rangeMapOf( const std::vector<RangeStep> &steps )
{
    pb::Ref<PB_RANGE_MAP> map = pb::adopt( pbRangeMapCreate() );
    for ( RangeStep step : steps )
        apply( map.handle(), step );
    return map;
}

pb::Ref<PB_PRIORITY_MAP> priorityMapOf( const std::vector<std::pair<PB_INT, PB_INT>> &entries )
{
    pb::Ref<PB_PRIORITY_MAP> map = pb::adopt( pbPriorityMapCreate() );
    for ( auto [priority, value] : entries )
        pbPriorityMapSet( map.handle(), boxed( value ).get(), priority );
    return map;
}

TEST( Vector, BehavesAsItsModel )
{
    test::Dice dice;
    std::vector<PB_INT> model;
    pb::Ref<PB_VECTOR> vec = vectorOf( {} );
    test::Snapshot<PB_VECTOR> snapshot;
    for ( int round = 0; round < 20000; ++round ) {
        PB_INT place = dice( 0, PB_INT( model.size() ) ), value = dice( 0, 999 );
        pb::Ref<PB_OBJ> obj = boxed( value );
        bool inside = place < PB_INT( model.size() );
        switch ( dice( 0, inside ? 6 : 2 ) ) {
        case 0:
            place ? pbVectorInsert( vec.handle(), place, obj.get() ) : pbVectorPrepend( vec.handle(), obj.get() );
            model.insert( model.begin() + place, value );
            break;
        case 1:
        case 2:
            pbVectorAppend( vec.handle(), obj.get() );
            model.push_back( value );
            break;
        case 3:
            pbVectorSetObjAt( vec.handle(), place, obj.get() );
            model[std::size_t( place )] = value;
            break;
        default:
            place = dice( 0, 1 ) * place; // half of them in front
            pbVectorDelAt( vec.handle(), place );
            model.erase( model.begin() + place );
        }
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( vec );
        ASSERT_EQ( pbVectorLength( vec.get() ), PB_INT( model.size() ) );
        if ( place < PB_INT( model.size() ) ) {
            ASSERT_EQ( unboxed( pbVectorObjAt( vec.get(), place ) ), model[std::size_t( place )] );
        }
        if ( round % 64 == 0 ) {
            ASSERT_TRUE( pbVectorEquals( vec.get(), vectorOf( model ).get() ) );
        }
    }
}

TEST( Dict, BehavesAsItsModel )
{
    test::Dice dice;
    std::map<PB_INT, PB_INT> model;
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    test::Snapshot<PB_DICT> snapshot;
    for ( int round = 0; round < 20000; ++round ) {
        PB_INT key = dice( 0, 40 ), value = dice( 0, 999 );
        if ( dice( 0, 1 ) ) {
            pbDictSet( dict.handle(), boxed( key ).get(), boxed( value ).get() );
            model[key] = value;
        } else {
            pbDictDel( dict.handle(), boxed( key ).get() );
            model.erase( key );
        }
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( dict );
        key = dice( 0, 40 );
        ASSERT_EQ( pbDictLength( dict.get() ), PB_INT( model.size() ) );
        ASSERT_EQ( pbDictHas( dict.get(), boxed( key ).get() ), model.contains( key ) );
        ASSERT_EQ( unboxed( pbDictValue( dict.get(), boxed( key ).get() ) ), model.contains( key ) ? model[key] : -1 );
        if ( round % 64 == 0 ) {
            ASSERT_TRUE( pbDictEquals( dict.get(), dictOf( model ).get() ) );
        }
    }
}

TEST( Dict, KeepsKeysInOrderAndAnEqualKeyStays )
{
    pb::Ref<PB_OBJ> two = boxed( 2 );
    pb::Ref<PB_DICT> dict = dictOf( { { 3, 30 }, { 1, 10 } } );
    pbDictSet( dict.handle(), two.get(), boxed( 0 ).get() );
    pbDictSet( dict.handle(), boxed( 2 ).get(), boxed( 20 ).get() );
    EXPECT_EQ( test::textOf( dict.get() ), "{1: 10, 2: 20, 3: 30}" );
    EXPECT_EQ( test::textOf( pb::adopt( pbDictKeysVector( dict.get() ) ).get() ), "[1, 2, 3]" );
    EXPECT_EQ( test::textOf( pb::adopt( pbDictValuesVector( dict.get() ) ).get() ), "[10, 20, 30]" );
    EXPECT_EQ( pb::adopt( pbDictKeyAt( dict.get(), 1 ) ).get(), two.get() );
}

TEST( RangeMap, BehavesAsItsModel )
{
    constexpr PB_INT keys = 64;
    test::Dice dice;
    std::array<PB_INT, keys> model; // what each key leads to; no two rounds set the same value, so a run is a range
    model.fill( -1 );
    pb::Ref<PB_RANGE_MAP> map = pb::adopt( pbRangeMapCreate() );
    test::Snapshot<PB_RANGE_MAP> snapshot;
    for ( PB_INT round = 0; round < 5000; ++round ) {
        PB_INT first = dice( 0, keys - 1 );
        PB_INT last = dice( first, std::min( keys - 1, first + dice( 0, 20 ) ) );
        PB_INT value = dice( 0, 3 ) ? round : -1;
        apply( map.handle(), { first, last, value } );
        std::fill( model.begin() + first, model.begin() + last + 1, value );
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( map );
        PB_INT runs = 0;
        for ( PB_INT key = 0; key < keys; ++key ) {
            auto at = std::size_t( key );
            ASSERT_EQ( unboxed( pbRangeMapValue( map.get(), key ) ), model[at] ) << key;
            runs += model[at] >= 0 && ( key == 0 || model[at - 1] != model[at] );
        }
        ASSERT_EQ( pbRangeMapLength( map.get() ), runs ) << first << ".." << last;
    }
}

TEST( PriorityMap, BehavesAsItsModel )
{
    test::Dice dice;
    std::map<PB_INT, PB_INT> model; // object to priority
    pb::Ref<PB_PRIORITY_MAP> map = pb::adopt( pbPriorityMapCreate() );
    test::Snapshot<PB_PRIORITY_MAP> snapshot;
    for ( int round = 0; round < 20000; ++round ) {
        PB_INT value = dice( 0, 20 ), priority = dice( -5, 5 );
        pb::Ref<PB_OBJ> obj = boxed( value );
        if ( dice( 0, 2 ) ) {
            pbPriorityMapSet( map.handle(), obj.get(), priority );
            model[value] = priority;
            ASSERT_EQ( pbPriorityMapPriority( map.get(), obj.get() ), priority );
        } else {
            pbPriorityMapDel( map.handle(), obj.get() );
            model.erase( value );
            ASSERT_FALSE( pbPriorityMapHas( map.get(), obj.get() ) );
        }
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( map );
        ASSERT_EQ( pbPriorityMapLength( map.get() ), PB_INT( model.size() ) );
        if ( model.empty() )
            continue;
        auto lowest = *std::min_element( model.begin(), model.end(),
            []( auto a, auto b ) { return std::tie( a.second, a.first ) < std::tie( b.second, b.first ); } );
        ASSERT_EQ( pbPriorityMapLowestPriority( map.get() ), lowest.second );
        ASSERT_EQ( unboxed( pbPriorityMapLowestObj( map.get() ) ), lowest.first );
        if ( dice( 0, 3 ) == 0 ) {
            pbPriorityMapDelLowest( map.handle() );
            model.erase( lowest.first );
        }
    }
}

TEST( RangeMap, ReachesTheEnds )
{
    constexpr PB_INT low = PB_INT_MIN, high = PB_INT_MAX;
    auto map =
        rangeMapOf( { { low, high, 1 }, { 0, 0, -1 }, { low, low, 2 }, { high, high, -1 }, { 5, 5, 3 }, { 6, 6, 3 } } );
    EXPECT_EQ( test::textOf( map.get() ),
        "{-9223372036854775808..-9223372036854775808: 2, -9223372036854775807..-1: 1, 1..4: 1, 5..5: 3, 6..6: 3, "
        "7..9223372036854775806: 1}" ); // neighbours are not joined
    apply( map.handle(), { low, high, -1 } );
    EXPECT_EQ( test::textOf( map.get() ), "{}" );
    pb::Ref<PB_RANGE_MAP> other = map;
    apply( map.handle(), { 1, 2, -1 } );
    EXPECT_EQ( map.get(), other.get() ) << "nothing to delete, nothing to copy";
}

TEST( Containers, Order )
{
    test::expectAscending( pbVectorCreateFrom, { vectorOf( {} ), vectorOf( { 1 } ), vectorOf( { 1, 2 } ),
                                                   vectorOf( { 1, 2, 3 } ), vectorOf( { 1, 3 } ), vectorOf( { 2 } ) } );
    test::expectAscending(
        pbDictCreateFrom, { dictOf( {} ), dictOf( { { 1, 1 } } ), dictOf( { { 1, 1 }, { 2, 0 } } ),
                              dictOf( { { 1, 1 }, { 2, 1 } } ), dictOf( { { 1, 2 } } ), dictOf( { { 2, 0 } } ) } );
    test::expectAscending( pbRangeMapCreateFrom,
        { rangeMapOf( {} ), rangeMapOf( { { 1, 1, 5 } } ), rangeMapOf( { { 1, 2, 1 } } ), rangeMapOf( { { 1, 2, 2 } } ),
            rangeMapOf( { { 1, 2, 2 }, { 4, 4, 0 } } ), rangeMapOf( { { 2, 2, 0 } } ) } );
    test::expectAscending( pbPriorityMapCreateFrom,
        { priorityMapOf( {} ), priorityMapOf( { { 1, 7 } } ), priorityMapOf( { { 2, 5 }, { 1, 7 } } ),
            priorityMapOf( { { 1, 8 } } ), priorityMapOf( { { 9, 3 }, { 2, 4 }, { 2, 3 } } ) } );
}

TEST( Containers, AreCopiedIntoThemselves )
{
    pb::Ref<PB_VECTOR> vec = vectorOf( { 1 } );
    pbVectorAppend( vec.handle(), pb::obj( vec.get() ) );
    pbVectorSetObjAt( vec.handle(), 0, pb::obj( vec.get() ) );
    EXPECT_EQ( test::textOf( vec.get() ), "[[1, [1]], [1]]" );
    pb::Ref<PB_DICT> dict = dictOf( { { 1, 10 } } );
    pbDictSet( dict.handle(), boxed( 1 ).get(), pb::obj( dict.get() ) );
    EXPECT_EQ( test::textOf( dict.get() ), "{1: {1: 10}}" );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetStoreCstr( store.handle(), "a", -1, store.get() );
    pbStoreSetStoreAt( store.handle(), 0, store.get() );
    EXPECT_EQ( test::textOf( store.get() ), R"({"a":{"a":{}}})" );
}

/** Puts an object in that looks at the container when it is freed, and changes the container so that it is. */
template <class T>
void expectWhole( pb::Ref<T> object, std::type_identity_t<void ( * )( T **, PB_OBJ * )> put,
    const std::vector<std::pair<void ( * )( T ** ), const char *>> &rows )
{
    for ( const auto &[change, text] : rows ) {
        pb::Ref<T> own = object;
        std::string seen;
        put( own.handle(), test::probe( [&] { seen = test::textOf( own.get() ); } ).get() );
        change( own.handle() );
        EXPECT_EQ( seen, text );
    }
}

TEST( Containers, AreWholeWhenAnEntryIsFreed )
{
    expectWhole<PB_VECTOR>( vectorOf( { 1, 2 } ), pbVectorPrepend,
        { { []( auto vec ) { pbVectorSetObjAt( vec, 0, boxed( 9 ).get() ); }, "[9, 1, 2]" },
            { []( auto vec ) { pbVectorDelAt( vec, 0 ); }, "[1, 2]" }, { pbVectorClear, "[]" } } );
    expectWhole<PB_DICT>( dictOf( { { 0, 0 }, { 2, 20 } } ),
        []( auto dict, auto probe ) { pbDictSet( dict, boxed( 1 ).get(), probe ); },
        { { []( auto dict ) { pbDictSet( dict, boxed( 1 ).get(), boxed( 9 ).get() ); }, "{0: 0, 1: 9, 2: 20}" },
            { []( auto dict ) { pbDictDel( dict, boxed( 1 ).get() ); }, "{0: 0, 2: 20}" }, { pbDictClear, "{}" } } );
    expectWhole<PB_RANGE_MAP>( rangeMapOf( { { 1, 3, 1 }, { 7, 9, 2 } } ),
        []( auto map, auto probe ) { pbRangeMapSetRange( map, 4, 5, probe ); },
        { { []( auto map ) { pbRangeMapSetRange( map, 3, 7, boxed( 3 ).get() ); }, "{1..2: 1, 3..7: 3, 8..9: 2}" },
            { []( auto map ) { pbRangeMapDelRange( map, 2, 8 ); }, "{1..1: 1, 9..9: 2}" } } );
    expectWhole<PB_PRIORITY_MAP>( priorityMapOf( { { 5, 1 }, { 6, 2 } } ),
        []( auto map, auto probe ) { pbPriorityMapSet( map, probe, 4 ); },
        { { pbPriorityMapDelLowest, "{5: 1, 6: 2}" } } );
}

} // namespace
