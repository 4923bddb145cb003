/* Errors of sending datagrams. */
#ifndef IN_UDP_SEND_ERRORS_PRIVATE_HPP
#define IN_UDP_SEND_ERRORS_PRIVATE_HPP

#include <array>
#include <atomic>
#include <pb/pb_base.h>

namespace in {

/** Counts what could not be sent, and remembers for which reasons. Any thread. */
class SendErrors {
public:
    /** Whether it is the first for that errno. */
    bool add( int error )
    {
        errors.fetch_add( 1, std::memory_order_relaxed );
        auto bit = static_cast<std::size_t>( error ) % ( 64 * seen.size() );
        uint64_t mask = uint64_t( 1 ) << bit % 64;
        return !( seen[bit / 64].fetch_or( mask, std::memory_order_relaxed ) & mask );
    }
    PB_INT count() const { return errors.load( std::memory_order_relaxed ); }

private:
    std::atomic<PB_INT> errors = 0;
    std::array<std::atomic<uint64_t>, 3> seen{}; // a bit for each errno, which are below 134
};

} // namespace in

#endif
