/* Counting datagrams: how many and how fast, which are missing, doubled or late, how long a round trip takes. */
#ifndef TOOL_STATISTICS_HPP
#define TOOL_STATISTICS_HPP

#include <array>
#include <cstdint>
#include <tool/tool_time.hpp>
#include <vector>

namespace tool {

/** How many datagrams and bytes there were, and how fast they came. */
struct Meter {
    uint64_t count = 0;
    uint64_t bytes = 0;

    void add( Time at, int64_t byteCount );
    /** From the first to the last one; 0 for fewer than two. */
    double perSecond() const;
    double bitsPerSecond() const { return count ? perSecond() * 8 * double( bytes ) / double( count ) : 0; }
    /** "100 (16000 bytes, 50/s, 0.064 Mbit/s)" */
    std::string text() const;

private:
    Time first;
    Time last;
};

/** What became of a stream of numbers. It remembers the last WINDOW of them; what is older counts as a duplicate. */
class Sequence {
public:
    enum class Arrival { inOrder, late, duplicate };

    Arrival add( uint64_t number );
    /** Different numbers that came, and from the lowest to the highest how many did not. */
    uint64_t received() const { return unique; }
    uint64_t missing() const { return unique ? highest - lowest + 1 - unique : 0; }
    uint64_t duplicates() const { return twice; }
    /** That came after a higher one (RFC 4737 section 3). */
    uint64_t outOfOrder() const { return reordered; }

private:
    static constexpr uint64_t WINDOW = 1 << 17;

    bool seen( uint64_t number ) const { return bits[number % WINDOW]; }
    void advanceTo( uint64_t number );

    std::vector<bool> bits = std::vector<bool>( WINDOW );
    uint64_t lowest = 0;
    uint64_t highest = 0;
    uint64_t unique = 0;
    uint64_t twice = 0;
    uint64_t reordered = 0;
};

/** How evenly a stream arrives: the interarrival jitter of RFC 3550 section 6.4.1, in seconds. */
class Jitter {
public:
    void add( int64_t sentAt, Time arrived );
    double seconds() const { return estimate; }

private:
    bool began = false;
    double lastTransit = 0;
    double estimate = 0;
};

/** Durations, kept to about one part in a hundred, in the same room however many there are. */
class Histogram {
public:
    void add( int64_t nanoseconds );
    uint64_t count() const { return total; }
    /** In milliseconds; 0 when there are none. */
    double lowest() const { return milliseconds( shortest ); }
    double highest() const { return milliseconds( longest ); }
    double average() const { return total ? sum / double( total ) / 1e6 : 0; }
    /** Below or at which that share of them lies, 0..1. */
    double percentile( double share ) const;

private:
    static constexpr unsigned STEP_BITS = 6; // each power of two in 64 steps
    static std::size_t placeOf( uint64_t value );
    static uint64_t middleOf( std::size_t place );
    static double milliseconds( uint64_t nanoseconds ) { return double( nanoseconds ) / 1e6; }

    std::array<uint64_t, ( 64 - STEP_BITS + 1 ) << STEP_BITS> counts{};
    uint64_t total = 0;
    double sum = 0;
    uint64_t shortest = 0;
    uint64_t longest = 0;
};

} // namespace tool

#endif
