/* Stores. */
#include "container_support.h"
#include <algorithm>

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

TEST( Store, ReadsIntegers )
{
    constexpr PB_INT none = -77;
    const std::vector<std::pair<std::string, PB_INT>> rows = { { "0", 0 }, { "42", 42 }, { "-42", -42 }, { "+42", 42 },
        { "007", 7 }, { "9223372036854775807", PB_INT_MAX }, { "-9223372036854775808", PB_INT_MIN },
        { "9223372036854775808", none }, { "-9223372036854775809", none }, { "99999999999999999999999", none },
        { "0x0", 0 }, { "0xfF", 255 }, { "0x7fffffffffffffff", PB_INT_MAX }, { "0x8000000000000000", none },
        { "0xffffffffffffffffffff", none }, { "", none }, { " 1", none }, { "1 ", none }, { "1.0", none },
        { "1e3", none }, { "-", none }, { "+", none }, { "+-1", none }, { "0x", none }, { "0xg", none },
        { "0x-1", none }, { "0x+1", none }, { "-0x1", none }, { "0X1", none }, { "0b1", none }, { "ten", none },
        { "\u0661", none } };
    for ( const auto &[text, expected] : rows ) {
        PB_INT read = none;
        EXPECT_EQ( pbStoreValueIntCstr( pair( "k", text ).get(), &read, "k", -1 ), expected != none ) << text;
        EXPECT_EQ( read, expected ) << text;
    }
}

TEST( Store, ReadsBooleans )
{
    for ( const char *text : { "true", "false", "True", "1", "", "true " } ) {
        std::string name = text;
        bool valid = name == "true" || name == "false";
        PB_BOOL read = name != "true";
        EXPECT_EQ( pbStoreValueBoolCstr( pair( "k", name ).get(), &read, "k", -1 ), valid ) << name;
        EXPECT_EQ( read, name == "true" || !valid ) << name;
    }
}

TEST( Store, EntriesOfAnotherKindReadAsAbsent )
{
    pb::Ref<PB_STORE> store = nest( "inner", pair( "a", "b" ) );
    set( store, "text", "x" );
    PB_INT number = 5;
    PB_BOOL truth = true;
    EXPECT_EQ( value( store, "inner" ), "(null)" );
    EXPECT_EQ( value( store, "nowhere" ), "(null)" );
    EXPECT_FALSE( pbStoreValueIntCstr( store.get(), &number, "inner", -1 ) );
    EXPECT_FALSE( pbStoreValueBoolCstr( store.get(), &truth, "nowhere", -1 ) );
    EXPECT_TRUE( number == 5 && truth );
    EXPECT_EQ( pbStoreStoreCstr( store.get(), "text", -1 ), nullptr );
    EXPECT_TRUE( pbStoreHasStoreCstr( store.get(), "inner", -1 ) && pbStoreHasValueCstr( store.get(), "text", -1 ) );
    EXPECT_FALSE( pbStoreHasStoreCstr( store.get(), "text", -1 ) || pbStoreHasValueCstr( store.get(), "inner", -1 ) );
    EXPECT_EQ( pbStoreValueAt( store.get(), 0 ), nullptr );
    EXPECT_EQ( pbStoreStoreAt( store.get(), 1 ), nullptr );
    EXPECT_EQ( test::textOf( pb::adopt( pbStoreStoreAt( store.get(), 0 ) ).get() ), R"({"a":"b"})" );
    EXPECT_EQ( pbStoreValueAt( store.get(), 2 ), nullptr );
    EXPECT_EQ( pbStoreKeyAt( store.get(), 2 ), nullptr );

    pb::Ref<PB_STORE> array = arrayOf( { "x" } );
    EXPECT_EQ( value( array, "" ), "(null)" );
    EXPECT_EQ( pbStoreKeyAt( array.get(), 0 ), nullptr );
    EXPECT_EQ( test::take( pbStoreValueAt( array.get(), 0 ) ), "x" );
    EXPECT_TRUE( pbStoreIsArray( array.get() ) && !pbStoreIsArray( store.get() ) );
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
}

TEST( Store, EscapesText )
{
    const std::vector<std::pair<std::string, std::string>> rows = { { "a\"b\\c/d", R"(a\"b\\c/d)" },
        { "\b\f\n\r\t", R"(\b\f\n\r\t)" }, { std::string( "\0\x01\x1f\x7f", 4 ), "\\u0000\\u0001\\u001f\x7f" },
        { "\u00e9\u4e2d\U0001F600", "\u00e9\u4e2d\U0001F600" } };
    for ( const auto &[text, expected] : rows )
        EXPECT_EQ( test::textOf( arrayOf( { text } ).get() ), "[\"" + expected + "\"]" );
    EXPECT_EQ( test::textOf( pair( "\"\n", "" ).get() ), R"({"\"\n":""})" );
}

TEST( Store, BareWords )
{
    for ( const char *bare : { "true", "false", "null", "0", "-0", "12", "-12.50", "0.5", "1e9", "1.5E-10", "2E+3" } ) {
        pb::Ref<PB_STORE> store = arrayOf( { bare } );
        pbStoreSetBareAt( store.handle(), 0, true );
        EXPECT_TRUE( pbStoreIsBareAt( store.get(), 0 ) ) << bare;
        EXPECT_EQ( test::textOf( store.get() ), "[" + std::string( bare ) + "]" );
        EXPECT_TRUE( pbStoreEquals( store.get(), arrayOf( { bare } ).get() ) );
        pbStoreSetValueAt( store.handle(), 0, str( bare ).get() );
        EXPECT_FALSE( pbStoreIsBareAt( store.get(), 0 ) ) << bare;
    }
    for ( const char *text : { "", "-", "01", "+1", "1.", ".5", "1e", "1e+", "0x10", "1 ", "True", "\u0661", "NaN" } ) {
        pb::Ref<PB_STORE> store = arrayOf( { text } );
        pbStoreSetBareAt( store.handle(), 0, true );
        EXPECT_FALSE( pbStoreIsBareAt( store.get(), 0 ) ) << text;
    }
    pb::Ref<PB_STORE> store = nest( "a", keyed() );
    pbStoreSetBareAt( store.handle(), 0, true );
    EXPECT_FALSE( pbStoreIsBareAt( store.get(), 0 ) );
    pbStoreSetValueIntCstr( store.handle(), "a", -1, 1 );
    EXPECT_TRUE( pbStoreIsBareAt( store.get(), 0 ) );
    pbStoreSetBareAt( store.handle(), 0, false );
    EXPECT_EQ( test::textOf( store.get() ), R"({"a":"1"})" );
    EXPECT_FALSE( pbStoreIsBareAt( store.get(), 1 ) );
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

TEST( Store, HoldsManyKeys )
{
    constexpr PB_INT count = 100000;
    pb::Ref<PB_STORE> store = keyed();
    for ( PB_INT i = 0; i < count; ++i )
        pbStoreSetValueIntCstr( store.handle(), std::to_string( i ).c_str(), -1, i );
    for ( PB_INT i = 0; i < count; ++i ) {
        PB_INT read = -1;
        ASSERT_TRUE( pbStoreValueIntCstr( store.get(), &read, std::to_string( i ).c_str(), -1 ) && read == i );
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

TEST( Store, CopiesShareTheirEntries )
{
    pb::Ref<PB_STORE> store = nest( "inner", pair( "a", "1" ) );
    pb::Ref<PB_STORE> copy = store;
    set( copy, "more", "2" );
    EXPECT_EQ( test::textOf( store.get() ), R"({"inner":{"a":"1"}})" );
    EXPECT_EQ(
        pb::adopt( pbStoreStoreAt( store.get(), 0 ) ).get(), pb::adopt( pbStoreStoreAt( copy.get(), 0 ) ).get() );
    pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStore( copy.get(), str( "inner" ).get() ) );
    set( inner, "a", "changed" );
    EXPECT_EQ( test::textOf( copy.get() ), R"({"inner":{"a":"1"},"more":"2"})" );

    pb::Ref<PB_STRING> key = str( "key" );
    pb::Ref<PB_STRING> text = str( "text" );
    pbStoreSetValue( store.handle(), key.get(), text.get() );
    pbStringAppendChar( key.handle(), '!' );
    pbStringAppendChar( text.handle(), '!' );
    EXPECT_EQ( test::textOf( store.get() ), R"({"inner":{"a":"1"},"key":"text"})" );
}

TEST( Store, IsCopiedIntoItself )
{
    pb::Ref<PB_STORE> store = pair( "a", "1" );
    pbStoreSetStoreCstr( store.handle(), "a", -1, store.get() );
    EXPECT_EQ( test::textOf( store.get() ), R"({"a":{"a":"1"}})" );
    pb::Ref<PB_STORE> array = arrayOf( { "x" } );
    pbStoreAppendStore( array.handle(), array.get() );
    pbStoreSetStoreAt( array.handle(), 0, array.get() );
    EXPECT_EQ( test::textOf( array.get() ), R"([["x",["x"]],["x"]])" );
}

TEST( StoreDeathTest, Misuse )
{
    PB_STORE *none = nullptr;
    PB_INT number;
    pb::Ref<PB_STORE> store = pair( "a", "1" );
    pb::Ref<PB_STORE> array = arrayOf( { "x" } );
    pb::Ref<PB_STRING> text = str( "x" );
    test::expectAborts( {
        { "store", [&] { pbStoreLength( nullptr ); } },
        { "store", [&] { pbStoreValueCstr( nullptr, "a", -1 ); } },
        { "key", [&] { pbStoreValueCstr( store.get(), nullptr, -1 ); } },
        { "value", [&] { pbStoreValueIntCstr( store.get(), nullptr, "a", -1 ); } },
        { "*store", [&] { pbStoreSetValueCstr( &none, "a", -1, text.get() ); } },
        { "value", [&] { pbStoreSetValueCstr( store.handle(), "a", -1, nullptr ); } },
        { "!pbStoreIsArray( *store )", [&] { pbStoreSetValueIntCstr( array.handle(), "a", -1, 1 ); } },
        { "!pbStoreIsArray( *store )", [&] { pbStoreDelCstr( array.handle(), "a", -1 ); } },
        { "pbStoreIsArray( *store )", [&] { pbStoreAppendValue( store.handle(), text.get() ); } },
        { "index >= 0",
            [&] { pbStoreValueIntCstr( store.get(), &number, "a", -1 ), pbStoreKeyAt( store.get(), -1 ); } },
        { "index < pbStoreLength( *store )", [&] { pbStoreSetValueAt( array.handle(), 1, text.get() ); } },
        { "index < pbStoreLength( *store )", [&] { pbStoreDelAt( store.handle(), 1 ); } },
        { "index < pbStoreLength( *store )", [&] { pbStoreSetBareAt( store.handle(), 1, true ); } },
    } );
}
