/* Streams of bytes: how many and how fast they go, and a sum by which both ends know that they are the same. */
#ifndef TOOL_FLOW_HPP
#define TOOL_FLOW_HPP

#include <cstdint>
#include <fmt/format.h>
#include <span>
#include <string>
#include <tool/tool_time.hpp>

namespace tool {

class Flow {
public:
    explicit Flow( Time begin = Clock::now() ) : first( begin ), last( begin ) {}

    void add( Time at, int64_t byteCount )
    {
        count += static_cast<uint64_t>( byteCount );
        last = at;
    }
    uint64_t bytes() const { return count; }
    double seconds() const { return secondsBetween( first, last ); }
    /** From the beginning to the last bytes. */
    double bitsPerSecond() const { return seconds() > 0 ? 8 * double( count ) / seconds() : 0; }
    /** "16000 bytes, 0.064 Mbit/s" */
    std::string text() const { return fmt::format( "{} bytes, {:.3f} Mbit/s", count, bitsPerSecond() / 1e6 ); }

private:
    uint64_t count = 0;
    Time first;
    Time last;
};

/** A running checksum over every byte and its place, in two sums as of Adler-32 (RFC 1950), but without a modulus. */
class Checksum {
public:
    void add( std::span<const uint8_t> bytes )
    {
        for ( uint8_t byte : bytes ) {
            ofBytes += byte;
            ofSums += ofBytes;
        }
    }
    std::string text() const { return fmt::format( "{:016x}{:016x}", ofSums, ofBytes ); }

private:
    uint64_t ofBytes = 1; // so that a lost zero counts too
    uint64_t ofSums = 0;
};

} // namespace tool

#endif
