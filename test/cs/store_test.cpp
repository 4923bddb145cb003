/* The live store: objects created, reconfigured and released as configurations come, and backends that come and go. */
#include "box.hpp"

using namespace test;

namespace {

class LiveStore : public StoreTest {
protected:
    static std::string stored()
    {
        test::Config config = pb::adopt( csStoreConfig() );
        return test::objects( config.get() );
    }
    pb::Ref<CS_SORT_BACKEND> backend = test::boxBackend();
};

} // namespace

TEST_F( LiveStore, FollowsTheConfiguration )
{
    test::Waiter change;
    auto changed = [&] {
        bool fired = change.fired();
        csStoreUpdateAddSignalable( change.get() );
        return fired;
    };
    changed();
    EXPECT_EQ(
        test::setConfigError( R"({"note": "kept", "objects": {"a": {"sort": "TEST_BOX", "x": 1, "config": {"size": 2}},
        "d": {"sort": "TEST_BOX", "config": {"size": 0}}, "b": {"sort": "TEST_BOX"},
        "c": {"sort": "OTHER", "config": {"size": 9}}, "e": {"sort": "TEST_BOX", "config": {"size": -1}},
        "f": {"sort": "TEST_BOX", "config": {"size": -2}}}})" ),
        R"(object "d" (TEST_BOX) cannot be created: nothing fits in; )"
        R"(object "e" (TEST_BOX) cannot be created: size: out of range; )"
        R"(object "f" (TEST_BOX) cannot be created: its module gives no reason)" );
    EXPECT_TRUE( changed() );
    EXPECT_EQ( liveSize( "a" ), 2 );
    EXPECT_EQ( liveSize( "b" ), 1 );
    EXPECT_FALSE( live( "c" ) ) << "nobody knows the sort";
    EXPECT_FALSE( live( "d" ) || live( "e" ) || live( "f" ) ) << "cannot be created";
    EXPECT_EQ( stored(), "a TEST_BOX {\"size\":2}; d TEST_BOX {\"size\":0}; b TEST_BOX {}; c OTHER {\"size\":9}; "
                         "e TEST_BOX {\"size\":-1}; f TEST_BOX {\"size\":-2}" );

    // Reconfigured in place, another sort, gone: a stays the very object.
    pb::Ref<PB_OBJ> a = live( "a" );
    ASSERT_TRUE( test::setConfig( R"({"note": "kept", "objects": {
        "c": {"sort": "TEST_BOX", "config": {"size": 7}}, "a": {"sort": "TEST_BOX", "x": 1},
        "b": {"sort": "CS_CONDITION", "config": {"value": true}}}})" ) );
    EXPECT_TRUE( changed() );
    EXPECT_EQ( live( "a" ).get(), a.get() );
    EXPECT_EQ( liveSize( "a" ), 1 );
    EXPECT_EQ( pbObjSort( live( "b" ).get() ), csConditionSort() );
    EXPECT_EQ( liveSize( "c" ), 7 );
    EXPECT_FALSE( live( "d" ) );
    EXPECT_FALSE( changed() );

    // What the objects say now is what is stored, with all that nobody knows.
    static_cast<test::Box *>( a.get() )->setSize( 5 );
    EXPECT_EQ( stored(), "c TEST_BOX {\"size\":7}; a TEST_BOX {\"size\":5}; b CS_CONDITION {\"value\":true}" );
    test::Config stored = pb::adopt( csStoreConfig() );
    EXPECT_NE( test::encoded( stored.get() ).find( "\"x\": 1" ), std::string::npos );
    EXPECT_NE( test::encoded( stored.get() ).find( "\"note\": \"kept\"" ), std::string::npos );
    csStoreUpdateDelSignalable( change.get() );
}

TEST_F( LiveStore, ChangesOneObject )
{
    EXPECT_TRUE( test::setBox( "a", 3 ) );
    pb::Ref<PB_OBJ> a = live( "a" );
    EXPECT_TRUE( test::setBox( "a", 4 ) );
    EXPECT_EQ( live( "a" ).get(), a.get() );
    EXPECT_FALSE( test::setBox( "a", 5, "OTHER" ) || test::setBox( "b", 0 ) );
    EXPECT_EQ( stored(), "a TEST_BOX {\"size\":4}" );
    EXPECT_TRUE( test::setBox( "a", 5, "CS_CONDITION" ) && test::setBox( "b", 2 ) );
    EXPECT_NE( live( "a" ).get(), a.get() );
    csStoreDelObject( test::str( "a" ).get() );
    csStoreDelObject( test::str( "never there" ).get() );
    EXPECT_EQ( stored(), "b TEST_BOX {\"size\":2}" );
}

TEST_F( LiveStore, TellsTheStatus )
{
    auto status = []( const char *name ) {
        test::Store store = pb::adopt( csStoreObjectStatus( test::str( name ).get() ) );
        return store ? test::textOf( store.get() ) : "(null)";
    };
    test::setBox( "a", 3 );
    test::setBox( "b", 3, "CS_CONDITION" );
    EXPECT_EQ( status( "a" ), R"({"up":true,"items":{"size":"3"}})" );
    EXPECT_EQ( status( "b" ), "(null)" );
    pb::Ref<PB_OBJ> a = live( "a" );
    test::Waiter change;
    CS_STATUS_REPORTER *reporter = static_cast<test::Box *>( a.get() )->reporter.get();
    csStatusReporterUpdateAddSignalable( reporter, change.get() );
    csStatusReporterSetUp( reporter, true );
    csStatusReporterSetItemCstr( reporter, "sizes", 4, test::str( "3" ).get() );
    EXPECT_FALSE( change.fired() );
    csStatusReporterDelItemCstr( reporter, "size", -1 );
    EXPECT_TRUE( change.fired() );
    EXPECT_EQ( status( "a" ), R"({"up":true,"items":{}})" );
}

TEST_F( LiveStore, BackendFunctionsMayChangeTheStore )
{
    // Creating "outer" makes another object, deletes one that is still to come, and reads the whole.
    bool once = true;
    hooks.create = [&] {
        if ( !std::exchange( once, false ) )
            return;
        EXPECT_TRUE( test::setBox( "made within", 8 ) );
        csStoreDelObject( test::str( "to come" ).get() );
        stored();
    };
    ASSERT_TRUE(
        test::setConfig( R"({"objects": {"outer": {"sort": "TEST_BOX"}, "to come": {"sort": "TEST_BOX"}}})" ) );
    EXPECT_EQ( stored(), "outer TEST_BOX {}; made within TEST_BOX {\"size\":8}" );
    hooks.create = nullptr;
    // An inner change may replace everything.
    once = true;
    hooks.set = [&] {
        if ( !std::exchange( once, false ) )
            return;
        EXPECT_TRUE( test::setConfig( R"({"objects": {"only": {"sort": "TEST_BOX"}}})" ) );
    };
    ASSERT_TRUE( test::setConfig( R"({"objects": {"a": {"sort": "TEST_BOX"}}})" ) );
    ASSERT_TRUE( test::setConfig( R"({"objects": {"a": {"sort": "TEST_BOX"}, "b": {"sort": "TEST_BOX"}}})" ) );
    EXPECT_EQ( stored(), "only TEST_BOX {}" );
}

TEST_F( LiveStore, ObjectsAreFreedOutsideEveryLock )
{
    int freed = 0;
    hooks.free = [&] {
        ++freed;
        EXPECT_FALSE( live( "a" ) );
        // as an object that waits for a thread of its own, which changes the store
        std::thread( [] { test::setBox( "b", 2 ); } ).join();
    };
    test::setBox( "a", 2 );
    csStoreDelObject( test::str( "a" ).get() );
    test::setBox( "a", 2 );
    ASSERT_TRUE( test::setConfig( R"({"objects": {"b": {"sort": "TEST_BOX"}}})" ) );
    EXPECT_EQ( freed, 2 );
    EXPECT_EQ( liveSize( "b" ), 2 );
    test::setBox( "a", 2 );
    backend = nullptr;
    EXPECT_EQ( freed, 4 );
}

TEST_F( LiveStore, ABackendThatGoesTakesItsObjectsAlong )
{
    test::setBox( "a", 2 );
    test::setBox( "b", 1, "CS_CONDITION" );
    backend = nullptr;
    EXPECT_FALSE( csSortRegistered( test::str( "TEST_BOX" ).get() ) );
    EXPECT_FALSE( live( "a" ) );
    EXPECT_TRUE( live( "b" ) );
    EXPECT_FALSE( test::setBox( "a", 3 ) );
    EXPECT_EQ( stored(), "a TEST_BOX {\"size\":2}; b CS_CONDITION {}" );

    // While it creates: what it made does not get in.
    backend = test::boxBackend();
    hooks.create = [&] { backend = nullptr; };
    EXPECT_FALSE( test::setBox( "a", 3 ) );
    backend = test::boxBackend();
    ASSERT_TRUE( test::setConfig( R"({"objects": {"a": {"sort": "TEST_BOX"}}})" ) );
    EXPECT_FALSE( live( "a" ) );
    // While it reconfigures.
    backend = test::boxBackend();
    hooks.create = nullptr;
    test::setBox( "a", 3 );
    hooks.set = [&] { backend = nullptr; };
    EXPECT_TRUE( test::setBox( "a", 4 ) );
    EXPECT_FALSE( live( "a" ) );
}

TEST_F( LiveStore, ChangesOfManyThreadsDoNotMix )
{
    // In each configuration all sizes are the same. Whoever looks finds one or the other, whatever else goes on.
    const char *configs[] = {
        R"({"objects": {"x": {"sort": "TEST_BOX", "config": {"size": 2}}, "y": {"sort": "TEST_BOX", "config": {"size": 2}},
            "on": {"sort": "CS_CONDITION"}, "crate": {"sort": "TEST_CRATE", "config": {"size": 2}}}})",
        R"({"objects": {"z": {"sort": "TEST_BOX", "config": {"size": 3}}, "y": {"sort": "TEST_BOX", "config": {"size": 3}},
            "crate": {"sort": "TEST_BOX", "config": {"size": 3}}, "x": {"sort": "TEST_BOX", "config": {"size": 3}}}})",
    };
    std::atomic<bool> done{ false };
    std::vector<std::jthread> threads;
    auto repeat = [&]( auto act ) {
        threads.emplace_back( [&done, act] {
            while ( !done )
                act();
        } );
    };
    for ( const char *json : configs )
        repeat( [json] { EXPECT_TRUE( test::setConfig( json ) ); } );
    repeat( [] {
        test::setBox( "alone", 4 );
        csStoreDelObject( test::str( "alone" ).get() );
    } );
    std::atomic<int> sizesSeen[2] = {};
    repeat( [&sizesSeen] {
        std::string text = stored();
        bool two = text.find( ":2" ) != std::string::npos, three = text.find( ":3" ) != std::string::npos;
        EXPECT_FALSE( two && three ) << text;
        sizesSeen[0] += two;
        sizesSeen[1] += three;
    } );
    repeat( [] {
        for ( const char *name : { "x", "alone", "on" } )
            pb::Ref<PB_STORE> status = pb::adopt( csStoreObjectStatus( test::str( name ).get() ) );
    } );
    repeat( [] { auto crates = test::boxBackend<test::Crate>(); } );
    repeat( [] {
        test::Config crate = test::config( R"({"objects": {"x": {"sort": "TEST_CRATE", "config": {"size": 1}}}})" );
        csConfigNormalize( crate.handle(), true );
    } );
    repeat( [&done] {
        test::Waiter change;
        csStoreUpdateAddSignalable( change.get() );
        if ( !done )
            change.wait();
        csStoreUpdateDelSignalable( change.get() );
    } );
    std::this_thread::sleep_for( std::chrono::milliseconds( 1500 ) );
    done = true;
    test::setBox( "last", 5 ); // wakes who waits
    threads.clear();           // waits for them
    EXPECT_GT( sizesSeen[0], 0 );
    EXPECT_GT( sizesSeen[1], 0 );
}
