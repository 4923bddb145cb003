/* Observers of objects and conditions: what they follow, when they fire, and that no change is missed under load. */
#include "box.hpp"
#include <support/recording.hpp>

using namespace test;

namespace {

struct BoxObserver {
    pb::Ref<CS_OBJECT_OBSERVER> observer = pb::adopt( csObjectObserverCreate( &test::boxSort, nullptr ) );
    test::Waiter change;

    BoxObserver() { fired(); }
    ~BoxObserver() { csObjectObserverUpdateDelSignalable( observer.get(), change.get() ); }
    void configure( const char *name, PB_OBJ *direct = nullptr )
    {
        csObjectObserverConfigure( observer.get(), name ? str( name ).get() : nullptr, direct );
    }
    pb::Ref<PB_OBJ> object() { return pb::adopt( csObjectObserverObject( observer.get() ) ); }
    bool fired()
    {
        bool hasFired = change.fired();
        csObjectObserverUpdateAddSignalable( observer.get(), change.get() );
        return hasFired;
    }
};

struct ConditionObserver {
    pb::Ref<CS_CONDITION_OBSERVER> observer = pb::adopt( csConditionObserverCreate( nullptr ) );
    test::Waiter change;

    explicit ConditionObserver( const char *name = nullptr, CS_CONDITION *direct = nullptr )
    {
        configure( name, direct );
        add();
    }
    ~ConditionObserver() { csConditionObserverUpdateDelSignalable( observer.get(), change.get() ); }
    void configure( const char *name, CS_CONDITION *direct = nullptr )
    {
        csConditionObserverConfigure( observer.get(), name ? str( name ).get() : nullptr, direct );
    }
    void add() { csConditionObserverUpdateAddSignalable( observer.get(), change.get() ); }
    /** The value as "0" or "1", "-" when there is no condition. */
    std::string value()
    {
        bool whenTrue = csConditionObserverConditionValueWithFallback( observer.get(), true );
        bool whenFalse = csConditionObserverConditionValueWithFallback( observer.get(), false );
        return whenTrue != whenFalse ? "-" : whenTrue ? "1" : "0";
    }
};

bool setCondition( const char *name, bool value )
{
    test::Store config = pb::adopt( pbStoreCreate() );
    pbStoreSetValueBoolCstr( config.handle(), "value", -1, value );
    return csStoreTrySetObject( str( name ).get(), str( "CS_CONDITION" ).get(), config.get() );
}

class Observer : public test::StoreTest {
protected:
    pb::Ref<CS_SORT_BACKEND> backend = test::boxBackend();
};

} // namespace

TEST_F( Observer, FollowsANameOrAnObject )
{
    BoxObserver observer;
    test::Recording recording; // streams are linked while somebody listens
    observer.configure( "a" );
    EXPECT_FALSE( observer.fired() ) << "there is nothing under the name";
    test::setBox( "a", 2 );
    EXPECT_TRUE( observer.fired() ) << "appears";
    EXPECT_EQ( hooks.linked, 1 );
    EXPECT_EQ( observer.object().get(), live( "a" ).get() );
    test::setBox( "a", 3 );
    test::setBox( "b", 3 );
    EXPECT_FALSE( observer.fired() ) << "the same object, and another name";
    bool freed = false;
    hooks.free = [&] { freed = true; };
    setCondition( "a", true );
    EXPECT_TRUE( freed ) << "the observer does not keep it";
    EXPECT_TRUE( observer.fired() ) << "another sort is none";
    EXPECT_FALSE( observer.object() );
    observer.configure( "b" );
    EXPECT_TRUE( observer.fired() );
    csStoreDelObject( str( "a" ).get() );
    EXPECT_FALSE( observer.fired() ) << "no longer its name";

    // An object that is given goes first; the name counts again after it.
    test::setBox( "c", 4 );
    observer.configure( "b", live( "c" ).get() );
    EXPECT_TRUE( observer.fired() );
    test::setConfig( "{}" );
    EXPECT_FALSE( observer.fired() ) << "what is given stays";
    EXPECT_EQ( static_cast<test::Box *>( observer.object().get() )->getSize(), 4 );
    observer.configure( "b" );
    EXPECT_TRUE( observer.fired() );
    test::setBox( "b", 5 );
    EXPECT_TRUE( observer.fired() );
    backend = nullptr;
    EXPECT_TRUE( observer.fired() ) << "the backend has gone, and the object with it";
    EXPECT_FALSE( observer.object() );
}

TEST_F( Observer, NoChangeIsMissed )
{
    // Each thread must see every round's value: the next round only begins when all have.
    constexpr int threadCount = 6, rounds = 400;
    std::atomic<int> round{ 0 }, seen{ 0 };
    auto expected = []( int number ) { return number % 3 == 2 ? "-" : number % 3 == 1 ? "1" : "0"; };
    setCondition( "on", false );
    std::vector<std::jthread> threads;
    for ( int i = 0; i < threadCount; ++i )
        threads.emplace_back( [&] {
            ConditionObserver observer( "on" );
            for ( int number = 1; number <= rounds; ++number ) {
                while ( round < number || observer.value() != expected( number ) ) {
                    observer.change.wait();
                    observer.add();
                }
                if ( ++seen == number * threadCount )
                    seen.notify_one();
            }
        } );
    for ( int number = 1; number <= rounds; ++number ) {
        round = number;
        if ( number % 3 == 2 )
            csStoreDelObject( str( "on" ).get() );
        else
            setCondition( "on", number % 3 == 1 );
        for ( int count; ( count = seen ) < number * threadCount; )
            seen.wait( count );
    }
}
