/* Adding an address to an interface and removing one: the request, its way to the kernel and back. Any thread, no state. */
#ifndef IN_NW_RTNETLINK_PRIVATE_HPP
#define IN_NW_RTNETLINK_PRIVATE_HPP

#include <array>
#include <cstdint>
#include <optional>
#include <pb/pb.hpp>
#include <span>
#include <tr/tr.h>

namespace in {

/** A request about an address of an interface (rtnetlink(7)), in the byte order of the host. */
class AddressRequest {
public:
    /** `type` is RTM_NEWADDR or RTM_DELADDR; `flags` come on top of those that ask for an answer. */
    AddressRequest( uint16_t type, uint16_t flags, uint8_t family, uint8_t prefixLength, uint32_t interfaceIndex );
    /** False, and nothing is added, when there is no room. */
    bool tryAddAttribute( uint16_t type, std::span<const PB_BYTE> data );
    std::span<const PB_BYTE> bytes() const { return { buffer.data(), length }; }

private:
    std::array<PB_BYTE, 280> buffer{};
    std::size_t length;
};

/**
 * Finds the answer in a datagram of netlink messages: 0 for done, or an errno value, negative. None when it is not in there.
 * An answer that is cut off before its code counts as a failure.
 */
std::optional<int32_t> findNetlinkAnswer( PB_BUFFER *datagram );

/** Sends a request and waits for the answer, as above; none when a call fails, which is traced. */
std::optional<int32_t> rtnetlinkTalk( TR_STREAM *stream, std::span<const PB_BYTE> request );

} // namespace in

#endif
