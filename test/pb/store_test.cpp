/* Stores. */
#include "container_support.h"

using test::str;

namespace {

pb::Ref<PB_STORE> keyed()
{
    return pb::adopt( pbStoreCreate() );
}

pb::Ref<PB_STORE> arrayOf( const std::vector<std::string> &texts )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    for ( const std::string &text : texts )
        pbStoreAppendValue( store.handle(), str( text ).get() );
    return store;
}

void set( pb::Ref<PB_STORE> &store, const std::string &key, const std::string &value )
{
    pbStoreSetValueCstr( store.handle(), key.c_str(), -1, str( value ).get() );
}

pb::Ref<PB_STORE> pair( const std::string &key, const std::string &value )
{
    pb::Ref<PB_STORE> store = keyed();
    set( store, key, value );
    return store;
}

pb::Ref<PB_STORE> nest( const std::string &key, pb::Ref<PB_STORE> inner )
{
    pb::Ref<PB_STORE> store = keyed();
    pbStoreSetStoreCstr( store.handle(), key.c_str(), -1, inner.get() );
    return store;
}

std::string value( const pb::Ref<PB_STORE> &store, const std::string &key )
{
    return test::take( pbStoreValueCstr( store.get(), key.c_str(), PB_INT( key.size() ) ) );
}

} // namespace

TEST( Store, ReadsIntegersAndBooleans )
{
    constexpr PB_INT none = -77;
    const std::pair<const char *, PB_INT> rows[] = { { "-42", -42 }, { "+42", 42 }, { "007", 7 },
        { "9223372036854775807", PB_INT_MAX }, { "-9223372036854775808", PB_INT_MIN }, { "9223372036854775808", none },
        { "0xfF", 255 }, { "0x7fffffffffffffff", PB_INT_MAX }, { "0x8000000000000000", none }, { "", none },
        { " 1", none }, { "1 ", none }, { "1.0", none }, { "+-1", none }, { "0x", none }, { "0xg", none },
        { "0x-1", none }, { "-0x1", none }, { "0X1", none }, { "\u0661", none } };
    for ( auto [text, expected] : rows ) {
        PB_INT read = none;
        EXPECT_EQ( pbStoreValueIntCstr( pair( "k", text ).get(), &read, "k", -1 ), expected != none ) << text;
        EXPECT_EQ( read, expected ) << text;
    }
    for ( std::string text : { "true", "false", "True", "1", "" } ) {
        PB_BOOL read = text != "true";
        EXPECT_EQ( pbStoreValueBoolCstr( pair( "k", text ).get(), &read, "k", -1 ), text == "true" || text == "false" );
        EXPECT_EQ( read, text != "false" ) << text;
    }
}

TEST( Store, Text )
{
    pb::Ref<PB_STORE> store = keyed();
    set( store, "b", "1" );
    pbStoreSetValueIntCstr( store.handle(), "number", -1, PB_INT_MIN );
    pbStoreSetValueBoolCstr( store.handle(), "yes", 3, true );
    pbStoreSetValueBoolCstr( store.handle(), "noX", 2, false );
    pbStoreSetStoreCstr( store.handle(), "list", -1, arrayOf( { "x", "" } ).get() );
    pbStoreSetStoreCstr( store.handle(), "empty", -1, arrayOf( {} ).get() );
    pbStoreSetStore( store.handle(), str( "" ).get(), keyed().get() );
    set( store, "b", "2" ); // stays in its place
    EXPECT_EQ( test::textOf( store.get() ),
        R"({"b":"2","number":-9223372036854775808,"yes":true,"no":false,"list":["x",""],"empty":[],"":{}})" );
    pbStoreDelCstr( store.handle(), "yes", -1 );
    pbStoreDelCstr( store.handle(), "nowhere", -1 );
    pbStoreDelAt( store.handle(), 0 );
    pbStoreSetValueAt( store.handle(), 0, str( "five" ).get() );
    pbStoreSetStoreAt( store.handle(), 1, pair( "c", "d" ).get() );
    EXPECT_EQ( test::textOf( store.get() ), R"({"number":"five","no":{"c":"d"},"list":["x",""],"empty":[],"":{}})" );
    PB_INT number = 5;
    EXPECT_FALSE( pbStoreValueIntCstr( store.get(), &number, "no", -1 ) );
    EXPECT_EQ( pbStoreStoreCstr( store.get(), "number", -1 ), nullptr );
    EXPECT_EQ( pbStoreValueAt( store.get(), 1 ), nullptr );
    EXPECT_EQ( pbStoreKeyAt( store.get(), 5 ), nullptr );
    EXPECT_EQ( test::textOf( arrayOf( { "\"\\/\b\f\n\r\t\x01\x7f\u00e9" } ).get() ),
        "[\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\x7f\u00e9\"]" );
}

TEST( Store, Order )
{
    pb::Ref<PB_STORE> two = pair( "a", "1" );
    set( two, "b", "1" );
    pb::Ref<PB_STORE> longer = nest( "a", arrayOf( { "1" } ) );
    set( longer, "a0", "1" );
    test::expectAscending( pbStoreCreateFrom,
        { arrayOf( {} ), arrayOf( { "" } ), arrayOf( { "2" } ), keyed(), pair( "a", "1" ), two, pair( "a", "2" ),
            nest( "a", arrayOf( {} ) ), nest( "a", arrayOf( { "1" } ) ), longer, nest( "a", keyed() ),
            nest( "a", pair( "x", "1" ) ), pair( "aa", "0" ), pair( "b", "0" ) } );
}

// Crosses the size at which a store gets an index, in both directions.
TEST( Store, BehavesAsItsModel )
{
    test::Dice dice;
    std::vector<std::pair<std::string, std::string>> model;
    pb::Ref<PB_STORE> store = keyed();
    test::Snapshot<PB_STORE> snapshot;
    for ( int round = 0; round < 20000; ++round ) {
        std::string key = std::to_string( dice( 0, 39 ) );
        auto entry = std::find_if( model.begin(), model.end(), [&]( const auto &at ) { return at.first == key; } );
        ASSERT_EQ( value( store, key ), entry == model.end() ? "(null)" : entry->second );
        bool grows = round / 1000 % 2 == 0;
        if ( dice( 0, 5 ) < ( grows ? 4 : 2 ) ) {
            std::string text = std::to_string( round );
            set( store, key, text );
            if ( entry == model.end() )
                model.emplace_back( key, text );
            else
                entry->second = text;
        } else if ( entry != model.end() ) {
            if ( dice( 0, 1 ) )
                pbStoreDelAt( store.handle(), entry - model.begin() );
            else
                pbStoreDelCstr( store.handle(), key.c_str(), -1 );
            model.erase( entry );
        }
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( store );
        ASSERT_EQ( pbStoreLength( store.get() ), PB_INT( model.size() ) );
        if ( model.empty() )
            continue;
        auto place = dice( 0, PB_INT( model.size() ) - 1 );
        ASSERT_EQ( test::take( pbStoreKeyAt( store.get(), place ) ), model[std::size_t( place )].first );
        ASSERT_EQ( test::take( pbStoreValueAt( store.get(), place ) ), model[std::size_t( place )].second );
    }
}

// Each level would take a frame of the stack, and more under a sanitizer, if any of these recursed.
TEST( Store, NestsDeeply )
{
    constexpr int depth = 100000;
    pb::Ref<PB_STORE> deep = keyed();
    pb::Ref<PB_STORE> other = pair( "k", "v" );
    for ( int i = 0; i < depth; ++i ) {
        deep = nest( "k", deep );
        other = nest( "k", other );
    }
    EXPECT_EQ( test::textOf( deep.get() ).size(), std::string( R"({"k":})" ).size() * depth + 2 );
    EXPECT_LT( pbStoreCompare( deep.get(), other.get() ), 0 );
}
