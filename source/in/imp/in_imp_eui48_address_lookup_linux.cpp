/*
 * Looks up the hardware address of a neighbour: one echo request makes the kernel resolve it, then the kernel's table is
 * read, /proc/net/arp for IPv4 and the output of `ip n` for IPv6. Runs on the caller's thread and blocks it. No state, so
 * look-ups are independent. Nothing is traced: every failure is "not found". So is a command that hangs: it is killed when
 * it has had longer than it needs on a busy host.
 */
#include <in/imp/in_imp_eui48_address_lookup_private.h>
#include <initializer_list>
#include <pb/pb_text.hpp>
#include <unix/unix.h>

namespace {

constexpr PB_INT commandBytes = 16 << 20; // a neighbour table of 100,000 lines fits
constexpr PB_INT pingLimit = 2'000;       // ms; it ends by itself after one
constexpr PB_INT attempts = 50;
constexpr PB_INT attemptPause = 200;     // ms
constexpr PB_INT attemptLimit = 3'000;   // ms for the command of one
constexpr PB_INT attemptsLimit = 15'000; // ms for all of them; the pauses are ten seconds
constexpr PB_INT arpComplete = 2;        // ATF_COM of <net/if_arp.h>: the entry has a hardware address

/** Runs a command for at most that many milliseconds; null when no process could be started. */
pb::Ref<PB_BUFFER> run( std::initializer_list<pb::Ref<PB_STRING>> arguments, PB_INT limit )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for ( const pb::Ref<PB_STRING> &argument : arguments )
        pbVectorAppend( vector.handle(), pb::obj( argument.get() ) );
    return pb::adopt( unixCommandTryRun( vector.get(), commandBytes, limit ) );
}

/**
 * Whether a text can be the name of an interface. The kernel takes more (dev_valid_name), but nothing that means anything
 * to a shell or looks like an option is ever handed to a command, even as the one argument that it would be.
 */
bool interfaceNameOk( PB_STRING *name )
{
    constexpr std::string_view refused = "\"'`$;&|<>(){}[]*?!~#\\/%";
    pb::Chars text = pb::chars( name );
    if ( text.empty() || text.front() == '-' )
        return false;
    return std::none_of( text.begin(), text.end(), [&]( PB_CHAR ch ) {
        return ch < 0x20 || ch == 0x7F || pb::isWhiteSpace( ch ) ||
               ( ch < 0x80 && refused.find( static_cast<char>( ch ) ) != refused.npos );
    } );
}

/** Sends one echo request and waits up to a second for the answer, whatever it is. */
bool primeNeighbourTable( IN_ADDRESS *ina, PB_STRING *optionalInterface )
{
    pb::Ref<PB_STRING> address = pb::adopt( inAddressToString( ina ) );
    auto text = []( std::string_view utf8 ) { return pb::string( utf8 ); };
    if ( !optionalInterface )
        return bool(
            run( { text( "ping" ), address, text( "-c" ), text( "1" ), text( "-W" ), text( "1" ) }, pingLimit ) );
    return bool( run( { text( "ping" ), text( "-I" ), pb::share( optionalInterface ), address, text( "-c" ),
                          text( "1" ), text( "-W" ), text( "1" ) },
        pingLimit ) );
}

pb::Ref<PB_STRING> field( PB_VECTOR *parts, PB_INT index )
{
    return pb::adoptAs<PB_STRING>( pbVectorObjAt( parts, index ) );
}

bool isAddress( PB_STRING *text, IN_ADDRESS *ina )
{
    pb::Ref<IN_ADDRESS> parsed = pb::adopt( inAddressTryCreateFromString( text ) );
    return parsed && inAddressEquals( parsed.get(), ina );
}

bool isDevice( PB_STRING *device, PB_STRING *optionalInterface )
{
    return !optionalInterface || pbStringEquals( device, optionalInterface );
}

// Fields of a line of /proc/net/arp: address, hardware type, flags, hardware address, mask, device.
pb::Ref<IN_EUI48_ADDRESS> fromArpLine( PB_STRING *line, IN_ADDRESS *ina, PB_STRING *optionalInterface )
{
    pb::Ref<PB_VECTOR> parts = pb::adopt( pbStringSplitWhiteSpace( line ) );
    if ( pbVectorLength( parts.get() ) < 6 )
        return {};
    if ( !isAddress( field( parts.get(), 0 ).get(), ina ) ||
         !isDevice( field( parts.get(), 5 ).get(), optionalInterface ) )
        return {};
    pb::Ref<PB_STRING> flags = field( parts.get(), 2 );
    PB_INT value;
    bool scanned = pbStringLength( flags.get() ) > 2 && pbStringScanInt( flags.get(), 2, 16, &value, nullptr );
    if ( !scanned || !( value & arpComplete ) )
        return {};
    return pb::adopt( inEui48AddressTryCreateFromString( field( parts.get(), 3 ).get() ) );
}

pb::Ref<IN_EUI48_ADDRESS> lookupV4( IN_ADDRESS *ina, PB_STRING *optionalInterface )
{
    pb::Ref<PB_LINE_SOURCE> lines = pb::adopt( pbLineSourceTryCreateFromFileCstr( "/proc/net/arp", -1 ) );
    if ( !lines )
        return {};
    while ( pb::Ref<PB_STRING> line = pb::adopt( pbLineSourceTryReadLine( lines.get() ) ) ) {
        if ( pb::Ref<IN_EUI48_ADDRESS> found = fromArpLine( line.get(), ina, optionalInterface ) )
            return found;
    }
    return {};
}

/** What the neighbour table says of an IPv6 address. */
struct Answer {
    pb::Ref<IN_EUI48_ADDRESS> found;
    bool underWay = false; // resolution goes on: worth another look
};

// Exactly six fields: address, "dev", device, "lladdr", hardware address, state. A router has one more, and is meant to be
// passed over. `ip` ends its lines with a blank, which is no field.
void readNeighbourLine( Answer &answer, PB_STRING *line, IN_ADDRESS *ina, PB_STRING *optionalInterface )
{
    pb::Ref<PB_STRING> trimmed = pb::share( line );
    pbStringTrim( trimmed.handle() );
    pb::Ref<PB_VECTOR> parts = pb::adopt( pbStringSplitChar( trimmed.get(), ' ', -1 ) );
    if ( pbVectorLength( parts.get() ) != 6 || !isAddress( field( parts.get(), 0 ).get(), ina ) )
        return;
    bool hasDevice = pbStringEqualsCaseFoldCstr( field( parts.get(), 1 ).get(), "dev", -1 );
    if ( optionalInterface && !( hasDevice && isDevice( field( parts.get(), 2 ).get(), optionalInterface ) ) )
        return;
    pb::Ref<PB_STRING> state = field( parts.get(), 5 );
    if ( pbStringEqualsCaseFoldCstr( state.get(), "DELAY", -1 ) )
        answer.underWay = true;
    else if ( pbStringEqualsCaseFoldCstr( state.get(), "REACHABLE", -1 ) &&
              pbStringEqualsCaseFoldCstr( field( parts.get(), 3 ).get(), "lladdr", -1 ) )
        answer.found = pb::adopt( inEui48AddressTryCreateFromString( field( parts.get(), 4 ).get() ) );
}

Answer readNeighbourTable( IN_ADDRESS *ina, PB_STRING *optionalInterface, PB_INT limit )
{
    pb::Ref<PB_BUFFER> output = run( { pb::string( "ip" ), pb::string( "n" ) }, limit );
    if ( !output )
        return { {}, true };
    Answer answer;
    pb::Ref<PB_LINE_SOURCE> lines = pb::adopt( pbLineSourceCreateFromBuffer( output.get() ) );
    while ( pb::Ref<PB_STRING> line = pb::adopt( pbLineSourceTryReadLine( lines.get() ) ) ) {
        readNeighbourLine( answer, line.get(), ina, optionalInterface );
        if ( answer.found )
            break;
    }
    return answer;
}

pb::Ref<IN_EUI48_ADDRESS> lookupV6( IN_ADDRESS *ina, PB_STRING *optionalInterface )
{
    PB_INT end = pbTimestamp() + attemptsLimit;
    for ( PB_INT attempt = 1;; ++attempt ) {
        PB_INT begin = pbTimestamp();
        PB_INT limit = std::clamp<PB_INT>( end - begin, 1, attemptLimit );
        Answer answer = readNeighbourTable( ina, optionalInterface, limit );
        bool late = pbTimestamp() - begin >= limit; // a command that hangs once hangs again
        if ( answer.found || !answer.underWay || late || attempt == attempts )
            return answer.found;
        pbSleep( attemptPause );
    }
}

} // namespace

IN_EUI48_ADDRESS *in___ImpEui48AddressTryLookup( IN_ADDRESS *ina, PB_STRING *optionalInterface )
{
    PB_ASSERT( ina );
    if ( optionalInterface && !interfaceNameOk( optionalInterface ) )
        return nullptr;
    if ( !primeNeighbourTable( ina, optionalInterface ) )
        return nullptr;
    return ( inAddressIsV4( ina ) ? lookupV4( ina, optionalInterface ) : lookupV6( ina, optionalInterface ) ).give();
}
