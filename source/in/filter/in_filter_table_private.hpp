/*
 * The table of a filter: rows of an address and a number of matching bits, and an index that tells what they permit.
 * Immutable, so any number of threads may ask one.
 *
 * A row permits a range of addresses of one version. The index is the union of all rows as ranges that do not overlap, in
 * a search tree without pointers: a look-up takes as many steps as the tree is high, six for a million IPv4 rows, and
 * nothing that the rows hold can make it worse.
 */
#ifndef IN_FILTER_TABLE_PRIVATE_HPP
#define IN_FILTER_TABLE_PRIVATE_HPP

#include <algorithm>
#include <array>
#include <in/base/in_address.h>
#include <pb/pb.hpp>
#include <vector>

namespace in {

/** Numbers from one to another, both included. */
template <class Number>
struct Range {
    Number first;
    Number last;
};

/**
 * A set of numbers, made of ranges. It holds, in order, the numbers at which one is in the set or out of it again: so a
 * number is in when those up to it are odd in number. They are the leaves of the tree; each level above has the first
 * number of every node below.
 */
template <class Number>
class RangeSet {
public:
    RangeSet() = default;
    /** Ranges in any order; they may overlap. */
    explicit RangeSet( std::vector<Range<Number>> ranges )
    {
        std::vector<Number> numbers = changes( ranges );
        count = numbers.size();
        while ( !numbers.empty() ) {
            std::vector<Number> above = addLevel( numbers );
            numbers = above.size() > 1 ? std::move( above ) : std::vector<Number>();
        }
    }

    bool has( Number number ) const
    {
        if ( count == 0 || number < nodes.front()[0] )
            return false;
        std::size_t upTo = 1; // how many numbers of a level are not above the number
        for ( auto level = levels.rbegin(); level != levels.rend(); ++level ) {
            std::size_t node = std::min( upTo, level->length ) - 1;
            upTo = node * perNode + notAbove( nodes[level->begin + node], number );
        }
        return std::min( upTo, count ) % 2 == 1;
    }

private:
    /** One or two cache lines; the last one of a level is filled up with the highest number. */
    static constexpr std::size_t perNode = std::max<std::size_t>( 64 / sizeof( Number ), 8 );
    struct alignas( 64 ) Node : std::array<Number, perNode> {};
    struct Level {
        std::size_t begin;
        std::size_t length;
    };

    static std::size_t notAbove( const Node &node, Number number )
    {
        std::size_t those = 0;
        for ( Number each : node )
            those += each <= number;
        return those;
    }
    /** Where one comes into the set, and out of it; nothing where ranges overlap or touch. */
    static std::vector<Number> changes( std::vector<Range<Number>> &ranges )
    {
        std::sort( ranges.begin(), ranges.end(), []( auto &a, auto &b ) { return a.first < b.first; } );
        std::vector<Number> numbers;
        for ( std::size_t i = 0; i < ranges.size(); ) {
            numbers.push_back( ranges[i].first );
            Number last = ranges[i].last;
            for ( ++i; i < ranges.size() && ( ranges[i].first <= last || ranges[i].first - 1 == last ); ++i )
                last = std::max( last, ranges[i].last );
            if ( last != highest )
                numbers.push_back( last + 1 );
        }
        return numbers;
    }
    /** Adds a level of these numbers; the first one of each node. */
    std::vector<Number> addLevel( const std::vector<Number> &numbers )
    {
        std::vector<Number> above;
        levels.push_back( { nodes.size(), ( numbers.size() + perNode - 1 ) / perNode } );
        nodes.reserve( nodes.size() + levels.back().length );
        for ( std::size_t i = 0; i < numbers.size(); ++i ) {
            if ( i % perNode == 0 ) {
                nodes.emplace_back().fill( highest );
                above.push_back( numbers[i] );
            }
            nodes.back()[i % perNode] = numbers[i];
        }
        return above;
    }

    static constexpr Number highest = static_cast<Number>( ~Number( 0 ) );

    std::size_t count = 0;
    std::vector<Node> nodes;   // the leaves first
    std::vector<Level> levels; // the leaves first
};

class FilterTable {
public:
    /** Permits nothing. */
    FilterTable() = default;
    /** Row by row an IN_ADDRESS and a PB_BOXED_INT; -1 permits the address alone. */
    FilterTable( pb::Ref<PB_VECTOR> addresses, pb::Ref<PB_VECTOR> matchingBits );

    /** Whether a row is of the address's version and shares at least its number of leading bits with it. */
    bool permits( IN_ADDRESS *ina ) const;

private:
    __extension__ typedef unsigned __int128 Number6;

    pb::Ref<PB_VECTOR> addressesVector;
    pb::Ref<PB_VECTOR> matchingBitsVector; // as long
    RangeSet<uint32_t> ranges4;
    RangeSet<Number6> ranges6;
};

} // namespace in

#endif
