/* What the program sends: datagrams that carry the number of their stream, their own number and when they were sent. */
#ifndef TOOL_DATAGRAM_HPP
#define TOOL_DATAGRAM_HPP

#include <cstdint>
#include <optional>
#include <pb/pb.hpp>
#include <vector>

namespace tool {

/** The beginning of a datagram; what follows it is padding. */
struct Stamp {
    static constexpr int64_t SIZE = 24; // "qvin", stream, number, time: 4 + 4 + 8 + 8 bytes, in network order

    uint32_t stream = 0;
    uint64_t number = 0; // in the stream, from 0 on
    int64_t sentAt = 0;  // ns of the sender's monotonic clock

    void write( std::vector<uint8_t> &bytes ) const;
    /** Nothing when the datagram does not begin with a stamp. */
    static std::optional<Stamp> read( PB_BUFFER *payload );
};

} // namespace tool

#endif
