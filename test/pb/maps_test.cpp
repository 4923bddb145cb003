/* Range maps and priority maps. */
#include "container_support.h"
#include <array>
#include <map>

using test::boxed;

namespace {

constexpr PB_INT keys = 64;
/** What each key leads to, -1 for nothing. No two calls set the same value, so that each run of one value is a range. */
using RangeModel = std::array<PB_INT, keys>;

PB_INT runs( const RangeModel &model )
{
    PB_INT count = 0;
    for ( std::size_t key = 0; key < keys; ++key )
        count += model[key] >= 0 && ( key == 0 || model[key - 1] != model[key] );
    return count;
}

void expectSame( PB_RANGE_MAP *map, const RangeModel &model )
{
    ASSERT_EQ( pbRangeMapLength( map ), runs( model ) );
    for ( PB_INT key = 0; key < keys; ++key )
        ASSERT_EQ( test::unboxed( pbRangeMapValue( map, key ) ), model[std::size_t( key )] ) << key;
}

struct RangeStep {
    PB_INT first;
    PB_INT last;
    PB_INT value; // -1 deletes
};

pb::Ref<PB_RANGE_MAP> rangeMapOf( const std::vector<RangeStep> &steps )
{
    pb::Ref<PB_RANGE_MAP> map = pb::adopt( pbRangeMapCreate() );
    for ( RangeStep step : steps )
        if ( step.value < 0 )
            pbRangeMapDelRange( map.handle(), step.first, step.last );
        else
            pbRangeMapSetRange( map.handle(), step.first, step.last, boxed( step.value ).get() );
    return map;
}

pb::Ref<PB_PRIORITY_MAP> priorityMapOf( const std::vector<std::pair<PB_INT, PB_INT>> &entries )
{
    pb::Ref<PB_PRIORITY_MAP> map = pb::adopt( pbPriorityMapCreate() );
    for ( auto [priority, value] : entries )
        pbPriorityMapSet( map.handle(), boxed( value ).get(), priority );
    return map;
}

} // namespace

TEST( RangeMap, BehavesAsItsModel )
{
    test::Dice dice;
    RangeModel model;
    model.fill( -1 );
    pb::Ref<PB_RANGE_MAP> map = pb::adopt( pbRangeMapCreate() );
    test::Snapshot<PB_RANGE_MAP> snapshot;
    for ( PB_INT round = 0; round < 5000; ++round ) {
        PB_INT first = dice( 0, keys - 1 );
        PB_INT last = dice( first, std::min( keys - 1, first + dice( 0, 20 ) ) );
        bool deletes = dice( 0, 3 ) == 0;
        if ( deletes )
            pbRangeMapDelRange( map.handle(), first, last );
        else if ( first == last )
            pbRangeMapSetKey( map.handle(), first, boxed( round ).get() );
        else
            pbRangeMapSetRange( map.handle(), first, last, boxed( round ).get() );
        std::fill( model.begin() + first, model.begin() + last + 1, deletes ? -1 : round );
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( map );
        ASSERT_NO_FATAL_FAILURE( expectSame( map.get(), model ) ) << first << ".." << last;
    }
}

TEST( RangeMap, Text )
{
    constexpr PB_INT low = PB_INT_MIN;
    constexpr PB_INT high = PB_INT_MAX;
    const std::string lowText = std::to_string( low );
    const std::string highText = std::to_string( high );
    const std::vector<std::pair<std::vector<RangeStep>, std::string>> rows = {
        { {}, "{}" },
        { { { low, high, 1 } }, "{" + lowText + ".." + highText + ": 1}" },
        { { { low, high, 1 }, { 0, 0, -1 } }, "{" + lowText + "..-1: 1, 1.." + highText + ": 1}" },
        { { { low, high, 1 }, { low, low, 2 } },
            "{" + lowText + ".." + lowText + ": 2, " + std::to_string( low + 1 ) + ".." + highText + ": 1}" },
        { { { low, high, 1 }, { high, high, -1 } }, "{" + lowText + ".." + std::to_string( high - 1 ) + ": 1}" },
        { { { 5, 9, 1 }, { low, high, -1 } }, "{}" },
        { { { 1, 2, 1 }, { 3, 4, 1 } }, "{1..2: 1, 3..4: 1}" }, // neighbours are not joined
        { { { 1, 9, 1 }, { 11, 19, 2 }, { 5, 15, 3 } }, "{1..4: 1, 5..15: 3, 16..19: 2}" },
    };
    for ( const auto &[steps, text] : rows )
        EXPECT_EQ( test::textOf( rangeMapOf( steps ).get() ), text );
}

TEST( RangeMap, Order )
{
    test::expectAscending( pbRangeMapCreateFrom,
        { rangeMapOf( {} ), rangeMapOf( { { 1, 1, 5 } } ), rangeMapOf( { { 1, 2, 1 } } ), rangeMapOf( { { 1, 2, 2 } } ),
            rangeMapOf( { { 1, 2, 2 }, { 4, 4, 0 } } ), rangeMapOf( { { 2, 2, 0 } } ) } );
}

TEST( PriorityMap, BehavesAsItsModel )
{
    test::Dice dice;
    std::map<PB_INT, PB_INT> model; // object to priority
    pb::Ref<PB_PRIORITY_MAP> map = pb::adopt( pbPriorityMapCreate() );
    test::Snapshot<PB_PRIORITY_MAP> snapshot;
    for ( int round = 0; round < 20000; ++round ) {
        PB_INT value = dice( 0, 20 );
        pb::Ref<PB_OBJ> obj = boxed( value );
        if ( dice( 0, 2 ) ) {
            PB_INT priority = dice( -5, 5 );
            pbPriorityMapSet( map.handle(), obj.get(), priority );
            model[value] = priority;
        } else {
            pbPriorityMapDel( map.handle(), obj.get() );
            model.erase( value );
        }
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( map );
        ASSERT_EQ( pbPriorityMapLength( map.get() ), PB_INT( model.size() ) );
        value = dice( 0, 20 );
        ASSERT_EQ( pbPriorityMapHas( map.get(), boxed( value ).get() ), model.contains( value ) );
        if ( model.contains( value ) ) {
            ASSERT_EQ( pbPriorityMapPriority( map.get(), boxed( value ).get() ), model[value] );
        }
        if ( model.empty() )
            continue;
        auto lowest = *std::min_element( model.begin(), model.end(),
            []( auto a, auto b ) { return std::tie( a.second, a.first ) < std::tie( b.second, b.first ); } );
        ASSERT_EQ( pbPriorityMapLowestPriority( map.get() ), lowest.second );
        ASSERT_EQ( test::unboxed( pbPriorityMapLowestObj( map.get() ) ), lowest.first );
        if ( dice( 0, 3 ) == 0 ) {
            pbPriorityMapDelLowest( map.handle() );
            model.erase( lowest.first );
        }
    }
}

TEST( PriorityMap, OrderAndText )
{
    pb::Ref<PB_PRIORITY_MAP> changed = priorityMapOf( { { 9, 3 }, { 2, 4 }, { 2, 3 } } );
    test::expectAscending( pbPriorityMapCreateFrom,
        { priorityMapOf( {} ), priorityMapOf( { { 1, 7 } } ), priorityMapOf( { { 2, 5 }, { 1, 7 } } ),
            priorityMapOf( { { 1, 8 } } ), changed } );
    EXPECT_EQ( test::textOf( changed.get() ), "{2: 3, 2: 4}" );
}

TEST( Maps, AreWholeWhenAnEntryIsFreed )
{
    std::string seen;
    pb::Ref<PB_RANGE_MAP> ranges = rangeMapOf( { { 1, 3, 1 }, { 7, 9, 2 } } );
    auto lookAtRanges = [&] { seen = test::textOf( ranges.get() ); };
    pbRangeMapSetRange( ranges.handle(), 4, 5, test::probe( lookAtRanges ).get() );
    pbRangeMapSetRange( ranges.handle(), 3, 7, boxed( 3 ).get() );
    EXPECT_EQ( seen, "{1..2: 1, 3..7: 3, 8..9: 2}" );
    pbRangeMapSetKey( ranges.handle(), 5, test::probe( lookAtRanges ).get() );
    pbRangeMapDelRange( ranges.handle(), 2, 8 );
    EXPECT_EQ( seen, "{1..1: 1, 9..9: 2}" );

    pb::Ref<PB_PRIORITY_MAP> priorities = priorityMapOf( { { 5, 1 }, { 6, 2 } } );
    auto lookAtPriorities = [&] { seen = test::textOf( priorities.get() ); };
    pbPriorityMapSet( priorities.handle(), test::probe( lookAtPriorities ).get(), 4 );
    pbPriorityMapDelLowest( priorities.handle() );
    EXPECT_EQ( seen, "{5: 1, 6: 2}" );
    pb::Ref<PB_OBJ> probe = test::probe( lookAtPriorities );
    pbPriorityMapSet( priorities.handle(), probe.get(), 7 );
    PB_OBJ *lent = probe.get();
    probe = nullptr; // from here on only the map holds it
    pbPriorityMapSet( priorities.handle(), boxed( 1 ).get(), 9 );
    pbPriorityMapDel( priorities.handle(), lent );
    EXPECT_EQ( seen, "{6: 2, 9: 1}" );
}

TEST( MapsDeathTest, Misuse )
{
    PB_RANGE_MAP *noRanges = nullptr;
    pb::Ref<PB_RANGE_MAP> ranges = rangeMapOf( {} );
    PB_PRIORITY_MAP *noPriorities = nullptr;
    pb::Ref<PB_PRIORITY_MAP> priorities = priorityMapOf( {} );
    pb::Ref<PB_OBJ> obj = boxed( 1 );
    test::expectAborts( {
        { "map", [&] { pbRangeMapValue( nullptr, 1 ); } },
        { "*map", [&] { pbRangeMapSetKey( &noRanges, 1, obj.get() ); } },
        { "first <= last", [&] { pbRangeMapSetRange( ranges.handle(), 2, 1, obj.get() ); } },
        { "value", [&] { pbRangeMapSetRange( ranges.handle(), 1, 2, nullptr ); } },
        { "first <= last", [&] { pbRangeMapDelRange( ranges.handle(), 2, 1 ); } },
        { "*map", [&] { pbPriorityMapSet( &noPriorities, obj.get(), 1 ); } },
        { "obj", [&] { pbPriorityMapSet( priorities.handle(), nullptr, 1 ); } },
        { "pbPriorityMapHas( map, obj )", [&] { pbPriorityMapPriority( priorities.get(), obj.get() ); } },
        { "pbPriorityMapLength( map ) > 0", [&] { pbPriorityMapLowestPriority( priorities.get() ); } },
        { "pbPriorityMapLength( map ) > 0", [&] { pbPriorityMapLowestObj( priorities.get() ); } },
        { "pbPriorityMapLength( *map ) > 0", [&] { pbPriorityMapDelLowest( priorities.handle() ); } },
    } );
}
