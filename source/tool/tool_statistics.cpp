/* Meters, sequences, jitter and histograms. */
#include <algorithm>
#include <bit>
#include <cmath>
#include <fmt/format.h>
#include <tool/tool_statistics.hpp>

void tool::Meter::add( Time at, int64_t byteCount )
{
    if ( count++ == 0 )
        first = at;
    last = at;
    bytes += static_cast<uint64_t>( byteCount );
}

double tool::Meter::perSecond() const
{
    double seconds = secondsBetween( first, last );
    return count > 1 && seconds > 0 ? double( count - 1 ) / seconds : 0;
}

std::string tool::Meter::text() const
{
    if ( count < 2 )
        return fmt::format( "{} ({} bytes)", count, bytes );
    return fmt::format( "{} ({} bytes, {:.{}f}/s, {:.3f} Mbit/s)", count, bytes, perSecond(), perSecond() < 10 ? 1 : 0,
        bitsPerSecond() / 1e6 );
}

/** Moves the window up to a higher number; what enters it has not been seen. */
void tool::Sequence::advanceTo( uint64_t number )
{
    if ( number - highest >= WINDOW )
        std::fill( bits.begin(), bits.end(), false );
    else
        for ( uint64_t entering = highest + 1; entering <= number; ++entering )
            bits[entering % WINDOW] = false;
    highest = number;
}

tool::Sequence::Arrival tool::Sequence::add( uint64_t number )
{
    bool late = unique > 0 && number < highest;
    if ( unique > 0 && number <= highest && ( highest - number >= WINDOW || seen( number ) ) ) {
        ++twice;
        return Arrival::duplicate;
    }
    if ( unique == 0 )
        lowest = highest = number;
    else if ( !late )
        advanceTo( number );
    lowest = std::min( lowest, number );
    bits[number % WINDOW] = true;
    ++unique;
    reordered += late;
    return late ? Arrival::late : Arrival::inOrder;
}

void tool::Jitter::add( int64_t sentAt, Time arrived )
{
    double transit = double( nanosecondsSince( sentAt, arrived ) ) / 1e9;
    if ( began )
        estimate += ( std::abs( transit - lastTransit ) - estimate ) / 16;
    began = true;
    lastTransit = transit;
}

// A value below 2 * 2^STEP_BITS has a place of its own; above, a place holds the values with the same leading bits.

std::size_t tool::Histogram::placeOf( uint64_t value )
{
    unsigned width = static_cast<unsigned>( std::bit_width( value ) );
    unsigned shift = width > STEP_BITS + 1 ? width - STEP_BITS - 1 : 0;
    return ( std::size_t( shift ) << STEP_BITS ) + ( value >> shift );
}

uint64_t tool::Histogram::middleOf( std::size_t place )
{
    if ( place < std::size_t( 2 ) << STEP_BITS )
        return place;
    std::size_t shift = ( place >> STEP_BITS ) - 1;
    uint64_t lowest = ( place - ( shift << STEP_BITS ) ) << shift;
    return lowest + ( uint64_t( 1 ) << shift ) / 2;
}

void tool::Histogram::add( int64_t nanoseconds )
{
    uint64_t value = static_cast<uint64_t>( std::max<int64_t>( nanoseconds, 0 ) );
    shortest = total ? std::min( shortest, value ) : value;
    longest = std::max( longest, value );
    sum += double( value );
    ++counts[placeOf( value )];
    ++total;
}

double tool::Histogram::percentile( double share ) const
{
    uint64_t wanted = std::max<uint64_t>( static_cast<uint64_t>( std::ceil( share * double( total ) ) ), 1 );
    uint64_t below = 0;
    for ( std::size_t place = 0; place < counts.size(); ++place )
        if ( ( below += counts[place] ) >= wanted )
            return milliseconds( std::clamp( middleOf( place ), shortest, longest ) );
    return 0;
}
