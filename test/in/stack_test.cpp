/* Stacks: what they follow, what they tell, the blacklist of TCP addresses, their life in the configuration store. */
#include "options_support.hpp"
#include "udp_support.hpp"
#include <cs/cs.h>
#include <in/base/in_stack_private.h>

namespace {

using namespace test;

std::string statusItems( IN_STACK *stack )
{
    pb::Ref<CS_STATUS_REPORTER> status = pb::adopt( inStackCsStatus( stack ) );
    return textOf( pb::adopt( csStatusReporterItems( status.get() ) ).get() );
}

pb::Ref<IN_OPTIONS> optionsOf( const char *json )
{
    return pb::adopt( inOptionsRestore( test::storeOf( json ).get() ) );
}

pb::Ref<IN_TCP_ADDRESS> tcpAddress( PB_INT port )
{
    return pb::adopt( inTcpAddressCreate( test::address( "192.0.2.1" ).get(), port ) );
}

} // namespace

TEST( Stack, FollowsItsOptions )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    EXPECT_TRUE( inStackUp( stack.get() ) );
    EXPECT_EQ( statusItems( stack.get() ), R"({"inStackAddress":"127.0.0.1"})" );

    pb::Ref<IN_OPTIONS> options;
    pb::Ref<IN_ADDRESS> address = test::address( "192.0.2.9" ); // is replaced
    pb::Ref<IN_NW_INTERFACE> primary;
    pb::Ref<PB_VECTOR> interfaces;
    PB_BOOL up = false;
    inStackConfiguration( stack.get(), options.handle(), address.handle(), primary.handle(), interfaces.handle(), &up );
    EXPECT_EQ( inOptionsFlags( options.get() ), IN_FLAG_LOOPBACK_ONLY );
    EXPECT_EQ( textOf( address.get() ), "127.0.0.1" );
    ASSERT_TRUE( primary );
    EXPECT_EQ( take( inNwInterfaceIdentifier( primary.get() ) ), "lo" );
    ASSERT_EQ( pbVectorLength( interfaces.get() ), 1 );
    EXPECT_EQ( pb::adopt( pbVectorObjAt( interfaces.get(), 0 ) ).get(), pb::obj( primary.get() ) );
    EXPECT_TRUE( up );

    test::Waiter waiter;
    inStackUpdateAddSignalable( stack.get(), waiter.get() );
    inStackSetOptions( stack.get(), optionsOf( R"({"interface":"no such interface"})" ).get() );
    EXPECT_TRUE( waiter.wait() );
    EXPECT_FALSE( inStackHasAddress( stack.get() ) );
    EXPECT_FALSE( inStackHasPrimaryInterface( stack.get() ) );
    EXPECT_EQ( pbVectorLength( pb::adopt( inStackInterfacesVector( stack.get() ) ).get() ), 0 );
    EXPECT_FALSE( inStackUp( stack.get() ) );
    EXPECT_EQ( statusItems( stack.get() ), "{}" );
    EXPECT_FALSE( test::channelOn( stack.get() ) );
}

TEST( Stack, TellsWhy )
{
    pb::Ref<IN_STACK> stack =
        test::stackWith( optionsOf( R"({"network":"127.0.0.0/8","addressVersion":"IN_ADDRESS_VERSION_4"})" ).get() );
    pb::Ref<PB_STORE> selection = pb::adopt( inStackSelection( stack.get() ) );
    pb::Ref<PB_STORE> candidates = pb::adopt( pbStoreStoreCstr( selection.get(), "candidates", -1 ) );
    ASSERT_TRUE( candidates );
    int chosen = 0;
    for ( PB_INT i = 0; i < pbStoreLength( candidates.get() ); ++i ) {
        std::string line = textOf( pb::adopt( pbStoreStoreAt( candidates.get(), i ) ).get() );
        bool local = line.find( "\"127.0.0.1\"" ) != std::string::npos;
        chosen += line.find( "\"chosen\":true" ) != std::string::npos;
        EXPECT_EQ( local, line.find( "\"score\":3" ) != std::string::npos ) << line << ": loopback, and it was before";
        EXPECT_EQ( local, line.find( "droppedBy" ) == std::string::npos ) << line;
    }
    EXPECT_EQ( chosen, 1 );
}

TEST( Stack, TcpBlacklist )
{
    auto blacklisted = []( const pb::Ref<IN_STACK> &stack, PB_INT port ) {
        return in___StackTcpIsBlacklisted( stack.get(), tcpAddress( port ).get() );
    };
    pb::Ref<IN_STACK> stack = test::stackWith(
        optionsOf( R"({"flags":"IN_FLAG_LOOPBACK_ONLY","tcpOptions":{"blacklistTimeout":150}})" ).get() );
    PB_INT start = pbTimestamp();
    in___StackTcpBlacklist( stack.get(), tcpAddress( 1 ).get() );
    EXPECT_TRUE( blacklisted( stack, 1 ) );
    EXPECT_FALSE( blacklisted( stack, 2 ) );
    pb::Ref<PB_STORE> shown = pb::adopt( inStackTcpBlacklist( stack.get() ) );
    pb::Ref<PB_STORE> entry = pb::adopt( pbStoreStoreAt( shown.get(), 0 ) );
    PB_INT left = -1;
    EXPECT_EQ( pbStoreLength( shown.get() ), 1 );
    EXPECT_EQ( pb::text( pb::adopt( pbStoreValueCstr( entry.get(), "address", -1 ) ).get() ),
        textOf( tcpAddress( 1 ).get() ) );
    EXPECT_TRUE( pbStoreValueIntCstr( entry.get(), &left, "milliseconds", -1 ) && left > 0 && left <= 150 ) << left;
    EXPECT_TRUE( eventually( [&] { return !blacklisted( stack, 1 ); } ) );
    EXPECT_GE( pbTimestamp() - start, 150 );
    EXPECT_EQ( pbStoreLength( pb::adopt( inStackTcpBlacklist( stack.get() ) ).get() ), 0 );

    // the options last given count, whether the process has adopted them or not
    inStackSetOptions( stack.get(), optionsOf( R"({"tcpOptions":{"blacklistEnabled":false}})" ).get() );
    in___StackTcpBlacklist( stack.get(), tcpAddress( 1 ).get() );
    EXPECT_FALSE( blacklisted( stack, 1 ) );
}

class ConfiguredStore : public test::LiveStore {};

/** An object is made of the good part of its configuration, changed in place, and tells what it is now. */
TEST_F( ConfiguredStore, MakesAndChangesObjects )
{
    struct {
        const char *sort, *from, *normal, *other;
    } const rows[] = {
        { "IN_STACK", R"({"flags":"IN_FLAG_LOOPBACK_ONLY","unknown":1,"network":"127.0.0.0/33"})",
            R"({"flags":"IN_FLAG_LOOPBACK_ONLY"})", R"({"flags":"","interface":"nothing"})" },
        { "IN_QOS_STACK", R"({"layer3Tos":"0x2E","bogus":1,"defaults":"IN_QOS_DEFAULTS_VOICE"})",
            R"({"defaults":"IN_QOS_DEFAULTS_VOICE","layer3Tos":"0x2e"})", R"({"defaults":"IN_QOS_DEFAULTS_IPC"})" },
        { "IN_FILTER", R"({"rebuildInterval":5,"stackName":"a/b"})", R"({"rebuildInterval":5})", "{}" },
    };
    pb::Ref<PB_STRING> name = test::str( "o" );
    auto stored = [&] {
        pb::Ref<CS_CONFIG> config = pb::adopt( csStoreConfig() );
        return textOf( pb::adopt( csConfigObjectConfig( config.get(), name.get() ) ).get() );
    };
    for ( const auto &row : rows ) {
        set( "o", row.sort, row.from );
        EXPECT_EQ( stored(), row.normal );
        pb::Ref<PB_OBJ> object = pb::adopt( csStoreObject( name.get() ) );
        set( "o", row.sort, row.other );
        EXPECT_EQ( stored(), row.other );
        EXPECT_EQ( pb::adopt( csStoreObject( name.get() ) ).get(), object.get() ) << "the same, reconfigured";
        csStoreDelObject( name.get() );
    }
    set( "o", "IN_STACK", rows[0].from );
    auto status = [&] { return textOf( pb::adopt( csStoreObjectStatus( name.get() ) ).get() ); };
    EXPECT_TRUE( eventually( [&] { return status() == R"({"up":true,"items":{"inStackAddress":"127.0.0.1"}})"; } ) );
    set( "o", "IN_STACK", rows[0].other );
    EXPECT_TRUE( eventually( [&] { return status() == R"({"up":false,"items":{}})"; } ) );
}

// Stacks end at any moment of a run: before it, in it, and while signals of the host go round.
TEST( StackRaces, ReleaseAgainstTheProcess )
{
    test::onThreads( 4, []( int i ) {
        pb::Ref<IN_OPTIONS> one = test::loopbackOptions();
        pb::Ref<IN_OPTIONS> other = test::loopbackOptions( IN_ADDRESS_VERSION_6 );
        test::Waiter waiter;
        for ( int round = 0; round < 300; ++round ) {
            pb::Ref<IN_STACK> stack = pb::adopt( inStackCreate( one.get(), nullptr ) );
            inStackUpdateAddSignalable( stack.get(), waiter.get() );
            inStackSetOptions( stack.get(), ( round % 2 ? one : other ).get() );
            in___StackTcpBlacklist( stack.get(), tcpAddress( 1 + round ).get() );
            if ( ( round + i ) % 3 == 0 ) {
                EXPECT_TRUE( waiter.wait() );
            }
            inStackUpdateDelSignalable( stack.get(), waiter.get() );
        }
    } );
}
