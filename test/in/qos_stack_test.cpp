/* QoS stacks: in the configuration store, their update signal, what they trace, many threads at one. */
#include "options_support.hpp"
#include <in/qos/in_qos_stack_private.h>
#include <support/recording.hpp>

namespace {

using namespace test;

#define VOICE R"({"defaults":"IN_QOS_DEFAULTS_VOICE"})"
#define IPC R"({"defaults":"IN_QOS_DEFAULTS_IPC"})"
#define NONE R"({"defaults":"IN_QOS_DEFAULTS_NONE"})"

pb::Ref<IN_QOS_OPTIONS> options( const char *json )
{
    return pb::adopt( inQosOptionsRestore( test::storeOf( json ).get() ) );
}
std::string configuration( IN_QOS_STACK *stack )
{
    pb::Ref<IN_QOS_OPTIONS> options = pb::adopt( inQosStackOptions( stack ) );
    return textOf( pb::adopt( inQosOptionsStore( options.get(), false ) ).get() );
}

/** The configurations that were traced. */
std::vector<std::string> configurations( test::Recording &recording )
{
    std::vector<std::string> texts;
    for ( auto &record : recording.take() )
        if ( pb::Ref<PB_STORE> value = pb::adopt( pbStoreStoreCstr( record.get(), "configuration", -1 ) ) )
            texts.push_back( textOf( value.get() ) );
    return texts;
}

TEST( QosStack, OptionsAndSignal )
{
    pb::Ref<IN_QOS_OPTIONS> voice = options( VOICE );
    pb::Ref<IN_QOS_STACK> stack = pb::adopt( inQosStackCreate( voice.get(), nullptr ) );
    EXPECT_EQ( pb::adopt( in___QosStackConfiguration( stack.get() ) ).get(), voice.get() );
    test::Waiter one, two;
    in___QosStackConfigurationAddSignalable( stack.get(), one.get() );
    in___QosStackConfigurationAddSignalable( stack.get(), two.get() );
    in___QosStackConfigurationDelSignalable( stack.get(), two.get() );
    inQosStackSetOptions( stack.get(), options( VOICE ).get() );
    EXPECT_FALSE( one.fired() ) << "equal options change nothing";
    EXPECT_EQ( pb::adopt( inQosStackOptions( stack.get() ) ).get(), voice.get() );
    inQosStackSetOptions( stack.get(), options( R"({"defaults":"IN_QOS_DEFAULTS_VOICE","layer3Tos":184})" ).get() );
    EXPECT_TRUE( one.fired() ) << "chosen differs from default, though the byte is the same";
    EXPECT_FALSE( two.fired() ) << "was taken away";
    in___QosStackConfigurationAddSignalable( stack.get(), one.get() );
    EXPECT_FALSE( one.fired() ) << "the signal was replaced, not left asserted";
    inQosStackSetOptions( stack.get(), voice.get() );
    EXPECT_TRUE( one.fired() );
    EXPECT_EQ( configuration( stack.get() ), VOICE );
}

TEST( QosStack, TracesItsConfiguration )
{
    pb::Ref<TR_STREAM> parent = pb::adopt( trStreamCreateCstr( "TEST_PARENT", -1 ) );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( parent.get(), TR_ANCHOR_KIND_PARENT ) );
    test::Recording recording;
    pb::Ref<IN_QOS_STACK> stack = pb::adopt( inQosStackCreate( options( VOICE ).get(), anchor.get() ) );
    std::string created = recording.text();
    for ( const char *part : { "\"IN_QOS_STACK\"", VOICE, "\"to\":" } )
        EXPECT_NE( created.find( part ), std::string::npos ) << part << " is not in " << created;
    inQosStackSetOptions( stack.get(), options( VOICE ).get() );
    EXPECT_EQ( recording.text(), "" );
    inQosStackSetOptions( stack.get(), options( IPC ).get() );
    EXPECT_EQ( configurations( recording ), std::vector<std::string>{ IPC } );
}

class QosStore : public test::LiveStore {
protected:
    static pb::Ref<IN_QOS_STACK> live( const char *name )
    {
        return pb::adopt( inQosStackFrom( csStoreObject( str( name ).get() ) ) );
    }
    static std::string stored( const char *name )
    {
        pb::Ref<CS_CONFIG> config = pb::adopt( csStoreConfig() );
        return textOf( pb::adopt( csConfigObjectConfig( config.get(), str( name ).get() ) ).get() );
    }
};

TEST_F( QosStore, CreatesAndReconfigures )
{
    ASSERT_TRUE( csStoreTrySetObject( str( "a" ).get(), str( "IN_QOS_STACK" ).get(), nullptr ) );
    set( "b", "IN_QOS_STACK", R"({"layer3Tos":"0x2E","bogus":1,"defaults":"IN_QOS_DEFAULTS_VOICE"})" );
    pb::Ref<IN_QOS_STACK> a = live( "a" ), b = live( "b" );
    EXPECT_EQ( configuration( a.get() ), NONE );
    EXPECT_EQ( configuration( b.get() ), R"({"defaults":"IN_QOS_DEFAULTS_VOICE","layer3Tos":"0x2e"})" );
    set( "a", "IN_QOS_STACK", IPC );
    EXPECT_EQ( live( "a" ).get(), a.get() ) << "reconfigured while it lives";
    EXPECT_EQ( configuration( a.get() ), IPC );
    // what the object says of itself is what the store keeps
    inQosStackSetOptions( a.get(), options( VOICE ).get() );
    EXPECT_EQ( stored( "a" ), VOICE );
}

TEST( QosStack, ManyThreads )
{
    pb::Ref<IN_QOS_OPTIONS> all[] = {
        options( VOICE ), options( IPC ), options( NONE ), options( R"({"layer3Tos":1})" ) };
    pb::Ref<IN_QOS_STACK> stack = pb::adopt( inQosStackCreate( all[0].get(), nullptr ) );
    test::Recording recording;
    recording.take();
    std::atomic<int> setting = 4, changes = 0;
    std::vector<std::jthread> threads;
    auto set = [&]( std::size_t t ) {
        for ( std::size_t i = 0; i < 500 || ( changes < 3 && i < 1'000'000 ); ++i )
            inQosStackSetOptions( stack.get(), all[( i + t ) % 4].get() );
        --setting;
    };
    auto watch = [&] {
        do {
            test::Waiter waiter;
            in___QosStackConfigurationAddSignalable( stack.get(), waiter.get() );
            pb::Ref<IN_QOS_OPTIONS> before = pb::adopt( inQosStackOptions( stack.get() ) );
            EXPECT_TRUE( std::any_of(
                std::begin( all ), std::end( all ), [&]( auto &each ) { return each.get() == before.get(); } ) );
            std::this_thread::yield();
            if ( before.get() != pb::adopt( inQosStackOptions( stack.get() ) ).get() ) {
                EXPECT_TRUE( waiter.wait() ) << "who registers before reading hears of the change";
                ++changes;
            }
            in___QosStackConfigurationDelSignalable( stack.get(), waiter.get() );
        } while ( setting > 0 );
    };
    for ( std::size_t t = 0; t < 4; ++t ) {
        threads.emplace_back( set, t );
        threads.emplace_back( watch );
    }
    threads.clear(); // waits for them
    EXPECT_GT( changes, 0 );
    // traced in the order of the changes: no two alike in a row, the last one is what holds
    std::vector<std::string> traced = configurations( recording );
    ASSERT_FALSE( traced.empty() );
    EXPECT_EQ( traced.back(), configuration( stack.get() ) );
    EXPECT_EQ( std::adjacent_find( traced.begin(), traced.end() ), traced.end() );
}

} // namespace
