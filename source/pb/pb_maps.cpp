/*
 * Range maps: a tree of ranges that never overlap, by their first integer. Priority maps: a tree from object to priority,
 * and a set of the same objects in order of priority; both copies of a map share the objects, so that the set can be
 * copied as it is. What a setter takes out is let go when the map is whole again, because the last reference may run any
 * free function.
 */
#include <iterator>
#include <map>
#include <pb/pb_containers_private.hpp>
#include <set>
#include <tuple>

namespace {

struct Range {
    PB_INT last;
    pb::Ref<PB_OBJ> value;
};
using Ranges = std::map<PB_INT, Range>;

struct Ranked {
    PB_INT priority;
    PB_OBJ *obj; // lent by the tree of priorities

    bool operator<( const Ranked &other ) const
    {
        if ( priority != other.priority )
            return priority < other.priority;
        return pb::compareObjects( obj, other.obj ) < 0;
    }
};
using Priorities = std::map<pb::Ref<PB_OBJ>, PB_INT, pb::ObjectOrder>;

} // namespace

struct PB_RANGE_MAP : PB_OBJ {
    Ranges ranges;

    Ranges::iterator firstEndingAtOrAfter( PB_INT key );
    Ranges cut( PB_INT first, PB_INT last );
};

/** The range that holds `key`, else the next one above it. */
Ranges::iterator PB_RANGE_MAP::firstEndingAtOrAfter( PB_INT key )
{
    auto above = ranges.upper_bound( key );
    if ( above == ranges.begin() || std::prev( above )->second.last < key )
        return above;
    return std::prev( above );
}

/** Takes out what first..last covers; ranges that reach beyond keep what is outside. */
Ranges PB_RANGE_MAP::cut( PB_INT first, PB_INT last )
{
    Ranges removed;
    auto range = firstEndingAtOrAfter( first );
    if ( range != ranges.end() && range->first < first ) {
        if ( range->second.last > last ) // lies in the middle of one: that falls into two
            ranges.emplace( last + 1, range->second );
        range->second.last = first - 1;
        ++range;
    }
    while ( range != ranges.end() && range->first <= last ) {
        auto node = ranges.extract( range++ );
        if ( node.mapped().last > last )
            ranges.emplace( last + 1, node.mapped() );
        removed.insert( std::move( node ) );
    }
    return removed;
}

static PB_INT pb___RangeMapCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    const Ranges &thisRanges = static_cast<PB_RANGE_MAP *>( thisObj )->ranges;
    const Ranges &thatRanges = static_cast<PB_RANGE_MAP *>( thatObj )->ranges;
    auto that = thatRanges.begin();
    for ( const auto &[first, range] : thisRanges ) {
        if ( that == thatRanges.end() )
            return 1;
        if ( PB_INT order = pb::order( std::tie( first, range.last ), std::tie( that->first, that->second.last ) ) )
            return order;
        if ( PB_INT order = pb::compareObjects( range.value.get(), that->second.value.get() ) )
            return order;
        ++that;
    }
    return that == thatRanges.end() ? 0 : -1;
}

static PB_STRING *pb___RangeMapToStringFunc( PB_OBJ *obj )
{
    pb::Ref<PB_STRING> text = pb::string( "{" );
    for ( const auto &[first, range] : static_cast<PB_RANGE_MAP *>( obj )->ranges ) {
        const char *format = pbStringLength( text.get() ) > 1 ? ", %i..%i: %o" : "%i..%i: %o";
        pb::Ref<PB_STRING> piece = pb::format( format, first, range.last, range.value );
        pbStringAppend( text.handle(), piece.get() );
    }
    pbStringAppendChar( text.handle(), '}' );
    return text.give();
}

PB_CLASS_DEFINE(
    PB_RANGE_MAP, pbRangeMap, pb::destroy<PB_RANGE_MAP>, pb___RangeMapCompFunc, pb___RangeMapToStringFunc );

PB_RANGE_MAP *pbRangeMapCreate( void )
{
    return pb::create<PB_RANGE_MAP>();
}

PB_RANGE_MAP *pbRangeMapCreateFrom( PB_RANGE_MAP *source )
{
    PB_ASSERT( source );
    return pb::create<PB_RANGE_MAP>( source->ranges );
}

PB_INT pbRangeMapLength( PB_RANGE_MAP *map )
{
    PB_ASSERT( map );
    return static_cast<PB_INT>( map->ranges.size() );
}

PB_OBJ *pbRangeMapValue( PB_RANGE_MAP *map, PB_INT key )
{
    PB_ASSERT( map );
    auto range = map->firstEndingAtOrAfter( key );
    return range == map->ranges.end() || range->first > key ? nullptr : range->second.value.retained();
}

void pbRangeMapSetRange( PB_RANGE_MAP **map, PB_INT first, PB_INT last, PB_OBJ *value )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( first <= last );
    PB_ASSERT( value );
    pb::Ref<PB_OBJ> newValue = pb::share( value ); // first: a map that is set into itself is shared by now, and copied
    PB_RANGE_MAP &unshared = PB_UNSHARE( map, pbRangeMapCreateFrom );
    Ranges removed = unshared.cut( first, last );
    unshared.ranges.emplace( first, Range{ last, std::move( newValue ) } );
}

void pbRangeMapSetKey( PB_RANGE_MAP **map, PB_INT key, PB_OBJ *value )
{
    pbRangeMapSetRange( map, key, key, value );
}

void pbRangeMapDelRange( PB_RANGE_MAP **map, PB_INT first, PB_INT last )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( first <= last );
    auto range = ( *map )->firstEndingAtOrAfter( first );
    if ( range == ( *map )->ranges.end() || range->first > last )
        return;
    PB_RANGE_MAP &unshared = PB_UNSHARE( map, pbRangeMapCreateFrom );
    Ranges removed = unshared.cut( first, last );
}

struct PB_PRIORITY_MAP : PB_OBJ {
    Priorities priorities;
    std::set<Ranked> ranking;

    /** Takes the object out; the result holds its reference. */
    Priorities::node_type remove( Priorities::iterator entry )
    {
        ranking.erase( { entry->second, entry->first.get() } );
        return priorities.extract( entry );
    }
};

static PB_INT pb___PriorityMapCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    const auto &thisRanking = static_cast<PB_PRIORITY_MAP *>( thisObj )->ranking;
    const auto &thatRanking = static_cast<PB_PRIORITY_MAP *>( thatObj )->ranking;
    auto that = thatRanking.begin();
    for ( const Ranked &ranked : thisRanking ) {
        if ( that == thatRanking.end() )
            return 1;
        if ( PB_INT order = pb::order( ranked, *that ) )
            return order;
        ++that;
    }
    return that == thatRanking.end() ? 0 : -1;
}

static PB_STRING *pb___PriorityMapToStringFunc( PB_OBJ *obj )
{
    pb::Ref<PB_STRING> text = pb::string( "{" );
    for ( const Ranked &ranked : static_cast<PB_PRIORITY_MAP *>( obj )->ranking ) {
        const char *format = pbStringLength( text.get() ) > 1 ? ", %i: %o" : "%i: %o";
        pb::Ref<PB_STRING> piece = pb::format( format, ranked.priority, ranked.obj );
        pbStringAppend( text.handle(), piece.get() );
    }
    pbStringAppendChar( text.handle(), '}' );
    return text.give();
}

PB_CLASS_DEFINE( PB_PRIORITY_MAP, pbPriorityMap, pb::destroy<PB_PRIORITY_MAP>, pb___PriorityMapCompFunc,
    pb___PriorityMapToStringFunc );

PB_PRIORITY_MAP *pbPriorityMapCreate( void )
{
    return pb::create<PB_PRIORITY_MAP>();
}

PB_PRIORITY_MAP *pbPriorityMapCreateFrom( PB_PRIORITY_MAP *source )
{
    PB_ASSERT( source );
    return pb::create<PB_PRIORITY_MAP>( source->priorities, source->ranking );
}

PB_INT pbPriorityMapLength( PB_PRIORITY_MAP *map )
{
    PB_ASSERT( map );
    return static_cast<PB_INT>( map->ranking.size() );
}

PB_BOOL pbPriorityMapHas( PB_PRIORITY_MAP *map, PB_OBJ *obj )
{
    PB_ASSERT( map );
    PB_ASSERT( obj );
    return map->priorities.find( obj ) != map->priorities.end();
}

PB_INT pbPriorityMapPriority( PB_PRIORITY_MAP *map, PB_OBJ *obj )
{
    PB_ASSERT( map );
    PB_ASSERT( obj );
    PB_ASSERT( pbPriorityMapHas( map, obj ) );
    return map->priorities.find( obj )->second;
}

PB_INT pbPriorityMapLowestPriority( PB_PRIORITY_MAP *map )
{
    PB_ASSERT( map );
    PB_ASSERT( pbPriorityMapLength( map ) > 0 );
    return map->ranking.begin()->priority;
}

PB_OBJ *pbPriorityMapLowestObj( PB_PRIORITY_MAP *map )
{
    PB_ASSERT( map );
    PB_ASSERT( pbPriorityMapLength( map ) > 0 );
    return pb::share( map->ranking.begin()->obj ).give();
}

void pbPriorityMapSet( PB_PRIORITY_MAP **map, PB_OBJ *obj, PB_INT priority )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( obj );
    pb::Ref<PB_OBJ> newObj = pb::share( obj ); // first: a map that is set into itself is shared by now, and copied
    PB_PRIORITY_MAP &unshared = PB_UNSHARE( map, pbPriorityMapCreateFrom );
    auto [entry, entered] = unshared.priorities.try_emplace( std::move( newObj ), priority );
    if ( !entered )
        unshared.ranking.erase( { entry->second, entry->first.get() } );
    entry->second = priority;
    unshared.ranking.insert( { priority, entry->first.get() } );
}

void pbPriorityMapDel( PB_PRIORITY_MAP **map, PB_OBJ *obj )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( obj );
    if ( !pbPriorityMapHas( *map, obj ) )
        return;
    PB_PRIORITY_MAP &unshared = PB_UNSHARE( map, pbPriorityMapCreateFrom );
    auto removed = unshared.remove( unshared.priorities.find( obj ) );
}

void pbPriorityMapDelLowest( PB_PRIORITY_MAP **map )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( pbPriorityMapLength( *map ) > 0 );
    PB_PRIORITY_MAP &unshared = PB_UNSHARE( map, pbPriorityMapCreateFrom );
    auto removed = unshared.remove( unshared.priorities.find( unshared.ranking.begin()->obj ) );
}
