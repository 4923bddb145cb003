/*
 * The addresses of all the host's interfaces at one moment. Callers that ask at about the same time share one answer.
 * Any thread.
 */
#ifndef IN_NW_HOST_PRIVATE_HPP
#define IN_NW_HOST_PRIVATE_HPP

#include <ifaddrs.h>
#include <in/base/in_address.h>
#include <memory>
#include <pb/pb.hpp>
#include <span>
#include <string_view>
#include <vector>

/** Immutable. Orders by identity. */
PB_CLASS( IN___NW_HOST, in___NwHost )

namespace in {

/** An entry of getifaddrs; several entries share a name, and some are about no address. */
struct HostEntry {
    std::string_view name;
    const ifaddrs *entry;
};

/**
 * A snapshot that is young enough, or a new one. It is younger than the last call of hostChanged that returned before this
 * call. Null when the host gives none.
 */
pb::Ref<IN___NW_HOST> hostSnapshot();
/**
 * Says that the host has changed: snapshots that were begun before this call are not used any more. Call it after a change
 * that the library made, or has come to know of, and before anybody is asked to look.
 */
void hostChanged();
/** At the end of the module: lets the last snapshot go. */
void hostShutdown();

/** All entries, those of one name together in the host's order; valid as long as the snapshot. */
std::span<const HostEntry> hostEntries( const IN___NW_HOST &host );

/** An address of an interface. */
struct HostAddress {
    pb::Ref<IN_ADDRESS> address;
    PB_INT prefixLength; // -1 when there is no netmask, or one of which maskPrefixLength makes nothing
};
/** The IPv4 and IPv6 addresses of one name. */
std::vector<HostAddress> hostAddresses( const IN___NW_HOST &host, std::string_view name );

/** How many one bits a netmask begins with; -1 when one follows a zero. */
PB_INT maskPrefixLength( IN_ADDRESS *mask );

} // namespace in

struct IN___NW_HOST : PB_OBJ {
    explicit IN___NW_HOST( ifaddrs *owned );

    std::unique_ptr<ifaddrs, decltype( &freeifaddrs )> list;
    std::vector<in::HostEntry> entries; // by name
};

#endif
