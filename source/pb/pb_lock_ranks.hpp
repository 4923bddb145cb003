/*
 * The order of all locks, outermost first. A thread that holds a lock may enter one that stands below it, and none of the same
 * rank or above. Builds with PB_CHECK_RANKS, as those of the tests, hold every thread to that: one that enters against the
 * order aborts with both names.
 *
 * A lock without a rank is not checked; those of users have none.
 */
#ifndef PB_LOCK_RANKS_HPP
#define PB_LOCK_RANKS_HPP

#include <cstdint>

/* The name, and what the lock guards. */
#define PB_LOCK_RANKS( RANK )                                                                                   \
    RANK( runtimeTurn, "one thread starts or stops modules, and their functions run meanwhile" )                \
    RANK( storeTurn, "changes of the live store go one after the other; held while functions of backends run" ) \
    RANK( store, "what is registered with the configuration store, the live objects, what observers follow" )   \
    RANK( streamSend, "one thread sends on a TCP channel" )                                                     \
    RANK( streamReceive, "one thread receives on a TCP channel" )                                               \
    RANK( service, "a stack's or QoS stack's options, and what it found" )                                      \
    RANK( interfacesTurn, "one thread looks for interfaces" )                                                   \
    RANK( interfaceTurn, "one thread asks the host about an interface, or changes it" )                         \
    RANK( hostTurn, "one thread takes a snapshot of the host" )                                                 \
    RANK( interfaces, "which interfaces there are" )                                                            \
    RANK( interface, "the state of an interface" )                                                              \
    RANK( host, "the snapshot of the host that is kept" )                                                       \
    RANK( hostSocket, "the socket for ioctls" )                                                                 \
    RANK( ports, "opening and closing of sockets that have a port, and the ports in use" )                      \
    RANK( slots, "which slots of an engine are taken, and which one is served" )                                \
    RANK( take, "the datagrams that users take" )                                                               \
    RANK( slot, "what has come to a socket, and what is watched" )                                              \
    RANK( observer, "what a descriptor observer watches, and the open report" )                                 \
    RANK( statusReporter, "what an object tells of itself" )                                                    \
    RANK( timers, "the heap of timers; firing schedules a process" )                                            \
    RANK( pool, "the states and queues of a pool's processes" )                                                 \
    RANK( thread, "whether a thread runs; held while it is awaited" )                                           \
    RANK( traceShard, "the streams of a shard; all shards are held together during a fork" )                    \
    RANK( traceStream, "what a stream was told" )                                                               \
    RANK( traceSinks, "the sinks, and which streams they know" )                                                \
    RANK( traceSink, "what waits in a sink" )                                                                   \
    RANK( leaf, "runtime lists, signals, alerts, barriers, the clock; only objects are made within" )           \
    RANK( objects, "the count of living objects" )

namespace pb {

enum class Rank : uint8_t {
    unranked,
#define PB___RANK( name, guards ) name,
    PB_LOCK_RANKS( PB___RANK )
#undef PB___RANK
};

} // namespace pb

#endif
