/* Socket addresses to and from the library's addresses; the host's name servers. No state. */
#include <cstring>
#include <in/base/in_endpoint_private.hpp>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <in/raw/in_raw_address_private.h>
#include <in/tcp/in_tcp_address_private.h>
#include <in/udp/in_udp_address_private.h>
#include <netinet/in.h>
#include <pb/pb.hpp>
#include <pb/pb_dict.h>
#include <pb/pb_unicode.h>

namespace {

/** A record of either family. */
union Sockaddr {
    sockaddr sa;
    sockaddr_in in4;
    sockaddr_in6 in6;
};
static_assert( sizeof( Sockaddr ) == 28 && sizeof( sockaddr_in ) == 16 );

/** Hands a record out where it is wanted; by its own size, which is known here: this runs for each datagram. */
template <class SockaddrOfFamily>
PB_BOOL put( void *optionalSa, PB_INT *optionalLength, const SockaddrOfFamily &record )
{
    if ( optionalSa )
        std::memcpy( optionalSa, &record, sizeof record );
    if ( optionalLength )
        *optionalLength = sizeof record;
    return true;
}

PB_BOOL write( void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina, PB_INT port, uint32_t scope = 0 )
{
    PB_ASSERT( ina );
    PB_ASSERT( PB___INT_TO_UNSIGNED_TYPE_CONV_OK( port, in_port_t ) );
    Sockaddr lsa = {};
    if ( inAddressIsV4( ina ) ) {
        lsa.in4.sin_family = AF_INET;
        lsa.in4.sin_port = htons( static_cast<in_port_t>( port ) );
        std::memcpy( &lsa.in4.sin_addr, inAddressBacking( ina ), sizeof lsa.in4.sin_addr );
        return put( optionalSa, optionalLength, lsa.in4 );
    }
    PB_ASSERT( PB_SIZEOF_ARRAY( lsa.in6.sin6_addr.s6_addr ) == inAddressLength( ina ) );
    lsa.in6.sin6_family = AF_INET6;
    lsa.in6.sin6_port = htons( static_cast<in_port_t>( port ) );
    lsa.in6.sin6_scope_id = scope;
    std::memcpy( &lsa.in6.sin6_addr, inAddressBacking( ina ), sizeof lsa.in6.sin6_addr );
    return put( optionalSa, optionalLength, lsa.in6 );
}

/** What a record says; no bytes when it says nothing. */
struct Record {
    PB_INT version = IN_ADDRESS_VERSION_4;
    const PB_BYTE *bytes = nullptr;
    PB_INT port = 0;
};

// Read by parts: the record of a caller need not be aligned for a structure.
Record read( const void *sa, PB_INT length )
{
    PB_ASSERT( sa );
    auto *bytes = static_cast<const PB_BYTE *>( sa );
    if ( length < PB_INT( sizeof( sockaddr_in ) ) )
        return {};
    sa_family_t family;
    std::memcpy( &family, bytes, sizeof family );
    static_assert( offsetof( sockaddr_in, sin_port ) == 2 && offsetof( sockaddr_in6, sin6_port ) == 2 );
    PB_INT port = bytes[2] << 8 | bytes[3];
    if ( family == AF_INET )
        return { IN_ADDRESS_VERSION_4, bytes + offsetof( sockaddr_in, sin_addr ), port };
    if ( family == AF_INET6 && length >= PB_INT( sizeof( sockaddr_in6 ) ) )
        return { IN_ADDRESS_VERSION_6, bytes + offsetof( sockaddr_in6, sin6_addr ), port };
    return {};
}

bool says( const Record &record, IN_ADDRESS *ina )
{
    if ( inAddressVersion( ina ) != record.version )
        return false;
    const PB_BYTE *bytes = inAddressBacking( ina );
    return record.version == IN_ADDRESS_VERSION_4 ? std::memcmp( bytes, record.bytes, sizeof( in_addr ) ) == 0
                                                  : std::memcmp( bytes, record.bytes, sizeof( in6_addr ) ) == 0;
}

IN_ADDRESS *createAddress( const Record &record )
{
    return record.version == IN_ADDRESS_VERSION_4 ? inAddressCreateV4( record.bytes )
                                                  : inAddressCreateV6( record.bytes );
}

template <class T>
PB_BOOL clear( T **out )
{
    if ( *out )
        pb::release( pb::obj( *out ) );
    *out = nullptr;
    return false;
}

/** What changes an endpoint of a class. */
template <class T>
struct EndpointFunctions {
    T *( *create )( IN_ADDRESS *ina, PB_INT number );
    void ( *update )( T **endpoint, IN_ADDRESS *ina, PB_INT number );
};

constexpr EndpointFunctions<IN_TCP_ADDRESS> tcpFunctions = { inTcpAddressCreate, in___TcpAddressUpdate };
constexpr EndpointFunctions<IN_UDP_ADDRESS> udpFunctions = { inUdpAddressCreate, in___UdpAddressUpdate };
constexpr EndpointFunctions<IN_RAW_ADDRESS> rawFunctions = { inRawAddressCreate, in___RawAddressUpdate };

/** Its address and number, lent: these functions run for each datagram. */
template <class T>
const in::Endpoint &partsOf( T *endpoint )
{
    return *static_cast<in::Endpoint *>( pb::obj( endpoint ) );
}

template <class T>
PB_BOOL fromEndpoint( void *optionalSa, PB_INT *optionalLength, T *endpoint )
{
    const in::Endpoint &parts = partsOf( endpoint );
    return write( optionalSa, optionalLength, parts.address.get(), parts.number );
}

/** Makes a new endpoint of the record; none when there is no number for it, which is -1 then. */
template <class T>
PB_BOOL toEndpoint( const Record &record, PB_INT number, T **out, const EndpointFunctions<T> &functions )
{
    clear( out );
    if ( number < 0 )
        return false;
    *out = functions.create( pb::adopt( createAddress( record ) ).get(), number );
    return true;
}

/** Changes the endpoint that is there in place, and its address only when the record says another. */
template <class T>
PB_BOOL updateEndpoint( const Record &record, PB_INT number, T **out, const EndpointFunctions<T> &functions )
{
    if ( !*out || number < 0 )
        return toEndpoint( record, number, out, functions );
    const in::Endpoint &parts = partsOf( *out );
    bool sameAddress = says( record, parts.address.get() );
    if ( sameAddress && parts.number == number )
        return true;
    pb::Ref<IN_ADDRESS> lina = sameAddress ? parts.address : pb::adopt( createAddress( record ) );
    PB_ASSERT( lina );
    functions.update( out, lina.get(), number );
    return true;
}

/** The port of a TCP or UDP address, -1 for none. */
PB_INT portOf( const Record &record )
{
    return record.port ? record.port : -1;
}

/** The protocol of a raw address: what the caller says, else the port field; -1 for neither. */
PB_INT protocolOf( const Record &record, PB_INT protocol )
{
    if ( !record.bytes )
        return -1;
    if ( protocol <= 255 )
        return protocol;
    return record.port < 256 ? record.port : -1;
}

} // namespace

PB_INT in___ImpSockaddrSize( void )
{
    return sizeof( Sockaddr );
}

PB_BOOL in___ImpSockaddrFromAddress( void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina )
{
    return write( optionalSa, optionalLength, ina, 0 );
}

PB_BOOL in___ImpSockaddrFromAddressPortAndScope(
    void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina, PB_INT port, PB_INT scope )
{
    return write( optionalSa, optionalLength, ina, port, static_cast<uint32_t>( scope ) );
}

PB_BOOL in___ImpSockaddrFromAddressAndTcpPort(
    void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina, PB_INT tcpPort )
{
    PB_ASSERT( IN_TCP_PORT_OK( tcpPort ) );
    return write( optionalSa, optionalLength, ina, tcpPort );
}

PB_BOOL in___ImpSockaddrFromAddressAndUdpPort(
    void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina, PB_INT udpPort )
{
    PB_ASSERT( IN_UDP_PORT_OK( udpPort ) );
    return write( optionalSa, optionalLength, ina, udpPort );
}

PB_BOOL in___ImpSockaddrToAddress( const void *sa, PB_INT length, IN_ADDRESS **ina )
{
    PB_ASSERT( ina );
    Record record = read( sa, length );
    if ( !record.bytes )
        return clear( ina );
    if ( *ina && says( record, *ina ) )
        return true;
    clear( ina );
    *ina = createAddress( record );
    return true;
}

PB_BOOL in___ImpSockaddrUpdateAddress( const void *sa, PB_INT length, IN_ADDRESS **ina )
{
    return in___ImpSockaddrToAddress( sa, length, ina );
}

/** The From, To and Update functions of a class whose number is a port. */
#define SOCKADDR_PORT_DEFINE( NAME, Name, handle, functions )                                    \
    PB_BOOL in___ImpSockaddrFrom##Name( void *optionalSa, PB_INT *optionalLength, NAME *handle ) \
    {                                                                                            \
        PB_ASSERT( handle );                                                                     \
        return fromEndpoint( optionalSa, optionalLength, handle );                               \
    }                                                                                            \
    PB_BOOL in___ImpSockaddrTo##Name( const void *sa, PB_INT length, NAME **handle )             \
    {                                                                                            \
        PB_ASSERT( handle );                                                                     \
        Record record = read( sa, length );                                                      \
        return toEndpoint( record, portOf( record ), handle, functions );                        \
    }                                                                                            \
    PB_BOOL in___ImpSockaddrUpdate##Name( const void *sa, PB_INT length, NAME **handle )         \
    {                                                                                            \
        PB_ASSERT( handle );                                                                     \
        Record record = read( sa, length );                                                      \
        return updateEndpoint( record, portOf( record ), handle, functions );                    \
    }                                                                                            \
    static_assert( true )

SOCKADDR_PORT_DEFINE( IN_TCP_ADDRESS, TcpAddress, ta, tcpFunctions );
SOCKADDR_PORT_DEFINE( IN_UDP_ADDRESS, UdpAddress, ua, udpFunctions );

PB_BOOL in___ImpSockaddrIsUdpAddress( const void *sa, PB_INT length )
{
    return read( sa, length ).port != 0;
}

PB_BOOL in___ImpSockaddrFromRawAddress( void *optionalSa, PB_INT *optionalLength, IN_RAW_ADDRESS *ra )
{
    PB_ASSERT( ra );
    return fromEndpoint( optionalSa, optionalLength, ra );
}

PB_BOOL in___ImpSockaddrToRawAddress( const void *sa, PB_INT length, IN_RAW_ADDRESS **ra, PB_INT protocol )
{
    PB_ASSERT( ra );
    Record record = read( sa, length );
    return toEndpoint( record, protocolOf( record, protocol ), ra, rawFunctions );
}

PB_BOOL in___ImpSockaddrUpdateRawAddress( const void *sa, PB_INT length, IN_RAW_ADDRESS **ra, PB_INT protocol )
{
    PB_ASSERT( ra );
    Record record = read( sa, length );
    return updateEndpoint( record, protocolOf( record, protocol ), ra, rawFunctions );
}

PB_VECTOR *in___ImpReadDnsServers( PB_LINE_SOURCE *lines )
{
    PB_ASSERT( lines );
    pb::Ref<PB_DICT> servers = pb::adopt( pbDictCreate() ); // enters each address once
    while ( pb::Ref<PB_STRING> line = pb::adopt( pbLineSourceTryReadLine( lines ) ) ) {
        if ( !pbStringBeginsWithCstr( line.get(), "nameserver", -1 ) )
            continue;
        pbStringDelLeading( line.handle(), 10 );
        pbStringTrim( line.handle() );
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromString( line.get() ) );
        if ( ina )
            pbDictSet( servers.handle(), pb::obj( ina.get() ), pb::obj( ina.get() ) );
    }
    return pbDictKeysVector( servers.get() );
}

PB_VECTOR *in___ImpSystemEnumerateDnsServers( void )
{
    pb::Ref<PB_LINE_SOURCE> lines = pb::adopt( pbLineSourceTryCreateFromFileCstr( "/etc/resolv.conf", -1 ) );
    return lines ? in___ImpReadDnsServers( lines.get() ) : pbVectorCreate();
}
