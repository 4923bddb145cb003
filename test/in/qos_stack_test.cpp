/* QoS stacks: their update signal, what they trace, many threads at one. */
#include "options_support.hpp"
#include <in/qos/in_qos_stack_private.h>
#include <support/recording.hpp>

namespace {

using namespace test;

#define VOICE R"({"defaults":"IN_QOS_DEFAULTS_VOICE"})"
#define IPC R"({"defaults":"IN_QOS_DEFAULTS_IPC"})"

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

TEST( QosStack, ManyThreads )
{
    pb::Ref<IN_QOS_OPTIONS> all[] = {
        options( VOICE ), options( IPC ), options( "{}" ), options( R"({"layer3Tos":1})" ) };
    pb::Ref<IN_QOS_STACK> stack = pb::adopt( inQosStackCreate( all[0].get(), nullptr ) );
    test::Recording recording;
    recording.take();
    test::onThreads( 4, [&]( int t ) {
        for ( int i = 0; i < 500; ++i ) {
            test::Waiter waiter;
            in___QosStackConfigurationAddSignalable( stack.get(), waiter.get() );
            pb::Ref<IN_QOS_OPTIONS> before = pb::adopt( inQosStackOptions( stack.get() ) );
            EXPECT_TRUE( std::ranges::any_of( all, [&]( auto &each ) { return each.get() == before.get(); } ) );
            inQosStackSetOptions( stack.get(), all[std::size_t( i + t ) % 4].get() );
            if ( before.get() != pb::adopt( inQosStackOptions( stack.get() ) ).get() ) {
                EXPECT_TRUE( waiter.wait() ) << "who registers before reading hears of the change";
            }
            in___QosStackConfigurationDelSignalable( stack.get(), waiter.get() );
        }
    } );
    // traced in the order of the changes: no two alike in a row, the last one is what holds
    std::vector<std::string> traced = configurations( recording );
    ASSERT_FALSE( traced.empty() );
    EXPECT_EQ( traced.back(), configuration( stack.get() ) );
    EXPECT_EQ( std::adjacent_find( traced.begin(), traced.end() ), traced.end() );
}

} // namespace
