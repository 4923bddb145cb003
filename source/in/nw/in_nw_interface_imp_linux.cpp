/*
 * The implementation of an interface. Its process polls it every five seconds, on a worker thread of `pr`, and once on the
 * thread that creates it; changes run on their callers' threads. `turn` is held during all of these, as long as the host
 * takes, so that they never interleave. The monitor guards what readers take, and is held for moments only: a reader never
 * waits for the host. Update signals are asserted outside of both.
 */
#include <in/nw/in_nw_arp_private.hpp>
#include <in/nw/in_nw_host_private.hpp>
#include <in/nw/in_nw_interface_imp_private.h>
#include <in/nw/in_nw_rtnetlink_private.hpp>
#include <in/nw/in_nw_socket_private.hpp>
#include <in/nw/in_nw_trace_private.hpp>
#include <linux/ethtool.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <pb/pb_update_signal.hpp>
#include <pr/pr.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

struct IN___NW_INTERFACE_IMP : PB_OBJ {
    explicit IN___NW_INTERFACE_IMP( PB_STRING *itsIdentifier )
        : identifier( pb::share( itsIdentifier ) ), name( pb::text( itsIdentifier ) )
    {}

    const pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_NW_INTERFACE", -1 ) );
    const pb::Ref<PB_STRING> identifier;
    const std::string name; // the identifier, as the kernel knows it
    /** These are set while it is created. */
    pb::Ref<PR_PROCESS> process;
    pb::Ref<PR_TIMER> timer;

    pb::Monitor turn{ pb::Rank::interfaceTurn };
    pb::Monitor monitor{ pb::Rank::interface };
    bool endRequested PB_GUARDED_BY( monitor ) = false;
    pb::UpdateSignal update; // replaced in the same stay in the monitor as what it tells of
    /** Replaced only by the thread that holds `turn`. */
    pb::Ref<IN_NW_INTERFACE_STATE> state PB_GUARDED_BY( monitor ) = pb::adopt( inNwInterfaceStateCreate() );
};

PB_CLASS_DEFINE( IN___NW_INTERFACE_IMP, in___NwInterfaceImp, pb::destroy<IN___NW_INTERFACE_IMP>, nullptr, nullptr );

namespace {

using Imp = IN___NW_INTERFACE_IMP;
using Socket = pb::Ref<IN___NW_SOCKET>;

constexpr PB_INT pollPeriod = 5000; // ms

bool nameFits( const Imp &imp )
{
    return imp.name.size() < IFNAMSIZ;
}

/** Makes an ioctl about the interface; false without a socket, or when the name is too long to ask. */
bool ask( const Imp &imp, const Socket &socket, unsigned long what, ifreq &request )
{
    if ( !socket || !nameFits( imp ) )
        return false;
    imp.name.copy( request.ifr_name, IFNAMSIZ - 1 );
    return ioctl( socket->fd.get(), what, &request ) == 0;
}

bool isUp( const ifreq &request )
{
    return ( request.ifr_flags & IFF_UP ) != 0;
}

/** A question about the interface, and what the answer says of its state. */
struct Query {
    unsigned long what;
    void ( *read )( const ifreq &answer, IN_NW_INTERFACE_STATE **state );
};

void readFlags( const ifreq &answer, IN_NW_INTERFACE_STATE **state )
{
    inNwInterfaceStateSetStatus( state, isUp( answer ) ? IN_NW_INTERFACE_STATUS_UP : IN_NW_INTERFACE_STATUS_DOWN );
}

void readHardwareAddress( const ifreq &answer, IN_NW_INTERFACE_STATE **state )
{
    if ( answer.ifr_hwaddr.sa_family != ARPHRD_ETHER )
        return;
    auto *bytes = reinterpret_cast<const PB_BYTE *>( answer.ifr_hwaddr.sa_data );
    pb::Ref<IN_NW_MAC_ADDRESS> mac = pb::adopt( inNwMacAddressCreateFromBytes( bytes ) );
    inNwInterfaceStateLayer2SetAddress( state, pb::adopt( inNwAddressCreateMac( mac.get() ) ).get() );
}

void readMtu( const ifreq &answer, IN_NW_INTERFACE_STATE **state )
{
    if ( answer.ifr_mtu > 0 )
        inNwInterfaceStateLayer2SetMtu( state, answer.ifr_mtu );
}

constexpr Query queries[] = {
    { SIOCGIFFLAGS, readFlags },
    { SIOCGIFHWADDR, readHardwareAddress },
    { SIOCGIFMTU, readMtu },
};

/** The speed in Mbit/s. A driver that does not know it says 4294967295, which is kept like any other, and meant so. */
void readSpeed( const Imp &imp, const Socket &socket, IN_NW_INTERFACE_STATE **state )
{
    ethtool_cmd command{};
    command.cmd = ETHTOOL_GSET;
    ifreq request{};
    request.ifr_data = reinterpret_cast<char *>( &command );
    if ( !ask( imp, socket, SIOCETHTOOL, request ) )
        return;
    PB_INT bitsPerSecond = PB_INT_FROM( ethtool_cmd_speed( &command ) ) * 1'000'000;
    inNwInterfaceStateLayer2SetSpeedReceive( state, bitsPerSecond );
    inNwInterfaceStateLayer2SetSpeedTransmit( state, bitsPerSecond );
}

void readAddresses( const Imp &imp, IN_NW_INTERFACE_STATE **state )
{
    pb::Ref<IN___NW_HOST> host = in::hostSnapshot();
    if ( !host )
        return;
    for ( const in::HostAddress &found : in::hostAddresses( *host, imp.name ) ) {
        IN_ADDRESS *ina = found.address.get();
        if ( inAddressIsUnicast( ina ) )
            inNwInterfaceStateLayer3SetUnicastAddress( state, ina );
        // a mask of all ones makes no network
        if ( found.prefixLength >= 0 && found.prefixLength < inAddressLength( ina ) * 8 )
            inNwInterfaceStateLayer3SetNetwork( state, pb::adopt( inNetworkCreate( ina, found.prefixLength ) ).get() );
    }
}

/** The state as the host says it now; what cannot be asked is absent. */
pb::Ref<IN_NW_INTERFACE_STATE> look( const Imp &imp )
{
    Socket socket = in::hostSocket();
    pb::Ref<IN_NW_INTERFACE_STATE> seen = pb::adopt( inNwInterfaceStateCreate() );
    inNwInterfaceStateSetDisplayName( seen.handle(), imp.identifier.get() );
    for ( const Query &query : queries ) {
        ifreq request{};
        if ( ask( imp, socket, query.what, request ) )
            query.read( request, seen.handle() );
    }
    readSpeed( imp, socket, seen.handle() );
    readAddresses( imp, seen.handle() );
    return seen;
}

pb::Ref<IN_NW_INTERFACE_STATE> currentState( Imp &imp )
{
    pb::Lock lock( imp.monitor );
    return imp.state;
}

bool endRequested( Imp &imp )
{
    pb::Lock lock( imp.monitor );
    return imp.endRequested;
}

/** Puts a new state in the place of the old; the signal that is to be asserted out of turn. */
pb::Ref<PB_SIGNAL> publish( Imp &imp, pb::Ref<IN_NW_INTERFACE_STATE> state ) PB_REQUIRES( imp.turn )
{
    trStreamSetPropertyStoreCstr(
        imp.stream.get(), "inNwInterfaceState", -1, pb::adopt( inNwInterfaceStateStore( state.get() ) ).get() );
    pb::Lock lock( imp.monitor );
    std::swap( imp.state, state ); // the old one goes with the parameter, outside the monitor
    return imp.update.replace();
}

/** Looks at the host; the signal that is to be asserted out of turn, if there is anything new. */
pb::Ref<PB_SIGNAL> poll( Imp &imp, IN_NW_INTERFACE_STATE *before ) PB_REQUIRES( imp.turn )
{
    pb::Ref<IN_NW_INTERFACE_STATE> seen = look( imp );
    pb::Ref<PB_SIGNAL> changed;
    if ( !inNwInterfaceStateEquals( seen.get(), before ) )
        changed = publish( imp, std::move( seen ) );
    prTimerSchedule( imp.timer.get(), pollPeriod );
    return changed;
}

/** A run of the process. An end that is requested while it polls has scheduled the next run. */
pb::Ref<PB_SIGNAL> run( Imp &imp ) PB_REQUIRES( imp.turn )
{
    pb::Ref<IN_NW_INTERFACE_STATE> state = currentState( imp );
    if ( inNwInterfaceStateEnd( state.get() ) )
        return {};
    if ( endRequested( imp ) ) {
        inNwInterfaceStateSetEnd( state.handle(), true );
        return publish( imp, std::move( state ) );
    }
    if ( prTimerScheduled( imp.timer.get() ) )
        return {}; // woken for nothing
    return poll( imp, state.get() );
}

void in___NwInterfaceImpProcessFunc( PB_OBJ *argument )
{
    Imp &imp = *in___NwInterfaceImpFrom( argument );
    pb::Ref<PB_SIGNAL> changed;
    {
        pb::Lock lock( imp.turn );
        changed = run( imp );
    }
    if ( changed )
        pbSignalAssert( changed.get() );
}

/** Says so when the host cannot be asked. Every poll tries again, without a word. */
void traceWithoutSocket( Imp &imp )
{
    if ( in::hostSocket() )
        return;
    trStreamSetNotable( imp.stream.get() );
    in::traceErrno( imp.stream.get(), "[in___NwInterfaceImpCreate()] socket(): -1 (%~s)" );
}

/** The number of the interface, or 0. */
uint32_t tryIndex( const Imp &imp )
{
    Socket socket = in::hostSocket();
    if ( !socket ) {
        trStreamTextCstr( imp.stream.get(), "[in___NwInterfaceImpRtnetlinkTryModifyAddress()] fixSockfd: null", -1 );
        return 0;
    }
    if ( !nameFits( imp ) ) {
        trStreamTextCstr( imp.stream.get(), "[in___NwInterfaceImpRtnetlinkTryModifyAddress()] fixIfname: invalid", -1 );
        return 0;
    }
    ifreq request{};
    if ( ask( imp, socket, SIOCGIFINDEX, request ) )
        return static_cast<uint32_t>( request.ifr_ifindex );
    in::traceErrno( imp.stream.get(), "[in___NwInterfaceImpRtnetlinkTryModifyAddress()] ioctl(): %~s" );
    return 0;
}

/** Asks the kernel to add or remove an address: its answer, or none when it could not be asked, which is traced. */
std::optional<int32_t> in___NwInterfaceImpRtnetlinkTryModifyAddress(
    const Imp &imp, IN_ADDRESS *addr, PB_INT prefixLength, uint16_t type, uint16_t flags )
{
    PB_ASSERT( prefixLength >= 0 && prefixLength <= inAddressLength( addr ) * 8 );
    uint32_t index = tryIndex( imp );
    if ( index == 0 )
        return {};
    uint8_t family = inAddressIsV4( addr ) ? AF_INET : AF_INET6;
    in::AddressRequest request( type, flags, family, static_cast<uint8_t>( prefixLength ), index );
    auto size = static_cast<std::size_t>( inAddressLength( addr ) );
    if ( !request.tryAddAttribute( IFA_LOCAL, { inAddressBacking( addr ), size } ) ) {
        trStreamTextCstr( imp.stream.get(),
            "[in___NwInterfaceImpRtnetlinkTryModifyAddress()] in___NwInterfaceImpRtnetlinkTryAddAttribute(): false",
            -1 );
        return {};
    }
    std::optional<int32_t> answer = in::rtnetlinkTalk( imp.stream.get(), request.bytes() );
    in::hostChanged();
    return answer;
}

/** The prefix length with which the interface has an address, or -1. */
PB_INT presentPrefixLength( const Imp &imp, IN_ADDRESS *addr )
{
    pb::Ref<IN___NW_HOST> host = in::hostSnapshot();
    if ( !host )
        return -1;
    for ( const in::HostAddress &found : in::hostAddresses( *host, imp.name ) )
        if ( inAddressEquals( found.address.get(), addr ) )
            return found.prefixLength;
    return -1;
}

/**
 * The kernel removes an IPv4 address whatever prefix length the request has. It removes an IPv6 address only with the
 * length that the address was added with. The caller need not know that length, so the host is asked for it when the
 * kernel knows no such address.
 */
bool tryRemove( const Imp &imp, IN_ADDRESS *addr )
{
    PB_INT full = inAddressLength( addr ) * 8;
    std::optional<int32_t> answer = in___NwInterfaceImpRtnetlinkTryModifyAddress( imp, addr, full, RTM_DELADDR, 0 );
    if ( answer == -EADDRNOTAVAIL ) {
        PB_INT present = presentPrefixLength( imp, addr );
        if ( present >= 0 && present < full )
            answer = in___NwInterfaceImpRtnetlinkTryModifyAddress( imp, addr, present, RTM_DELADDR, 0 );
    }
    return answer == 0;
}

/** Lets the interface be polled soon. In turn, so that no poll of before can schedule the timer after this. */
void pollSoon( Imp &imp ) PB_REQUIRES( imp.turn )
{
    prTimerUnschedule( imp.timer.get() );
    prProcessSchedule( imp.process.get() );
}

} // namespace

IN___NW_INTERFACE_IMP *in___NwInterfaceImpCreate(
    PB_STRING *identifier, PB_BOOL canSetStatus, TR_ANCHOR *optionalAnchor )
{
    PB_ASSERT( identifier );
    PB_ASSERT( canSetStatus );
    pb::Ref<Imp> imp = pb::adopt( pb::create<Imp>( identifier ) );
    trStreamSetPropertyCstr( imp->stream.get(), "inNwIdentifier", -1, identifier );
    if ( optionalAnchor )
        trAnchorComplete( optionalAnchor, imp->stream.get() );
    imp->process = pb::adopt( prProcessCreateWithPriorityCstr( nullptr, PR_PRIORITY_DEFAULT,
        in___NwInterfaceImpProcessFunc, imp.get(), "in___NwInterfaceImpProcessFunc", -1 ) );
    imp->timer = pb::adopt( prProcessCreateTimer( imp->process.get() ) );
    traceWithoutSocket( *imp );
    in___NwInterfaceImpProcessFunc( imp.get() );
    return imp.give();
}

void in___NwInterfaceImpHalt( IN___NW_INTERFACE_IMP *imp )
{
    PB_ASSERT( imp );
    prProcessHalt( imp->process.get() );
}

void in___NwInterfaceImpHaltWait( IN___NW_INTERFACE_IMP *imp )
{
    in___NwInterfaceImpHalt( imp );
    prProcessHaltWait( imp->process.get() );
}

PB_STRING *in___NwInterfaceImpIdentifier( IN___NW_INTERFACE_IMP *imp )
{
    PB_ASSERT( imp );
    return imp->identifier.retained();
}

IN_NW_INTERFACE_STATE *in___NwInterfaceImpState( IN___NW_INTERFACE_IMP *imp )
{
    PB_ASSERT( imp );
    return currentState( *imp ).give();
}

void in___NwInterfaceImpUpdateAddSignalable( IN___NW_INTERFACE_IMP *imp, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( imp );
    imp->update.add( signalable );
}

void in___NwInterfaceImpUpdateDelSignalable( IN___NW_INTERFACE_IMP *imp, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( imp );
    imp->update.del( signalable );
}

void in___NwInterfaceImpTraceCompleteAnchor( IN___NW_INTERFACE_IMP *imp, TR_ANCHOR *anchor )
{
    PB_ASSERT( imp );
    trAnchorComplete( anchor, imp->stream.get() );
}

/** Notes that the end is requested; whether it was not yet, and has not come either. */
static bool noteEndRequest( Imp &imp )
{
    pb::Lock lock( imp.monitor );
    return !inNwInterfaceStateEnd( imp.state.get() ) && !std::exchange( imp.endRequested, true );
}

void in___NwInterfaceImpSetEnd( IN___NW_INTERFACE_IMP *imp )
{
    PB_ASSERT( imp );
    if ( !noteEndRequest( *imp ) )
        return;
    trStreamTextCstr( imp->stream.get(), "[in___NwInterfaceImpSetEnd()]", -1 );
    prProcessSchedule( imp->process.get() );
}

PB_BOOL in___NwInterfaceImpTrySetStatus( IN___NW_INTERFACE_IMP *imp, PB_INT status )
{
    PB_ASSERT( imp );
    PB_ASSERT( IN_NW_INTERFACE_STATUS_OK( status ) );
    bool up = status == IN_NW_INTERFACE_STATUS_UP;
    pb::Lock lock( imp->turn );
    Socket socket = in::hostSocket();
    ifreq request{};
    if ( !ask( *imp, socket, SIOCGIFFLAGS, request ) )
        return false;
    if ( isUp( request ) == up )
        return true;
    request.ifr_flags = static_cast<short>( request.ifr_flags ^ IFF_UP );
    bool written = ask( *imp, socket, SIOCSIFFLAGS, request );
    in::hostChanged(); // IPv6 addresses come and go with the status
    return written && ask( *imp, socket, SIOCGIFFLAGS, request ) && isUp( request ) == up;
}

PB_BOOL in___NwInterfaceImpTrySetLayer3UnicastAddress(
    IN___NW_INTERFACE_IMP *imp, IN_ADDRESS *inAddress, IN_NETWORK *optionalInNetwork )
{
    PB_ASSERT( imp );
    PB_ASSERT( inAddress );
    PB_ASSERT( !optionalInNetwork || inNetworkContainsAddress( optionalInNetwork, inAddress ) );
    PB_INT prefixLength = optionalInNetwork && inNetworkHasPrefixLength( optionalInNetwork )
                              ? inNetworkPrefixLength( optionalInNetwork )
                              : inAddressLength( inAddress ) * 8;
    pb::Lock lock( imp->turn );
    trStreamTextFormatCstr( imp->stream.get(),
        "[in___NwInterfaceImpTrySetLayer3UnicastAddress()] address=%o, network=%o", -1, inAddress, optionalInNetwork );
    std::optional<int32_t> answer = in___NwInterfaceImpRtnetlinkTryModifyAddress(
        *imp, inAddress, prefixLength, RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE );
    if ( answer != 0 )
        return false;
    in___NwInterfaceImpTrySendGratuitousArp(
        imp->stream.get(), imp->name.c_str(), currentState( *imp ).get(), inAddress );
    pollSoon( *imp );
    return true;
}

PB_BOOL in___NwInterfaceImpTryDelLayer3UnicastAddress( IN___NW_INTERFACE_IMP *imp, IN_ADDRESS *inAddress )
{
    PB_ASSERT( imp );
    PB_ASSERT( inAddress );
    pb::Lock lock( imp->turn );
    trStreamTextFormatCstr(
        imp->stream.get(), "[in___NwInterfaceImpTryDelLayer3UnicastAddress()] address=%o", -1, inAddress );
    bool removed = tryRemove( *imp, inAddress );
    pollSoon( *imp );
    return removed;
}
