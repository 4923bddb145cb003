/* Filters: entries and options as configurations, what tables permit, rebuilds, the stack, many threads. */
#include "options_support.hpp"
#include <in/filter/in_filter_table_private.hpp>
#include <support/recording.hpp>

namespace {

using namespace test;

pb::Ref<IN_FILTER_OPTIONS> options( const std::string &json )
{
    return pb::adopt( inFilterOptionsRestore( test::storeOf( json ).get() ) );
}
pb::Ref<IN_FILTER> filter( const pb::Ref<IN_FILTER_OPTIONS> &opt )
{
    return pb::adopt( inFilterCreate( opt.get(), nullptr ) );
}
bool permits( const pb::Ref<IN_FILTER> &subject, const std::string &text )
{
    return inFilterCheck( subject.get(), address( text ).get() );
}

bool soonPermits( const pb::Ref<IN_FILTER> &subject, const std::string &text, bool permitted = true )
{
    return eventually( [&] { return permits( subject, text ) == permitted; } );
}

/** An entry for a literal address; options of such entries. */
std::string literal( const std::string &host, const std::string &more = "" )
{
    return R"({"host":")" + host + R"(","flags":"IN_FILTER_ENTRY_FLAG_ADDRESS")" + more + "}";
}
std::string bits( int count )
{
    return R"(,"addressMatchingBits":)" + std::to_string( count );
}
std::string entries( const std::string &list )
{
    return R"({"entries":[)" + list + "]}";
}

class FilterStore : public test::LiveStore {};

TEST( FilterOptions, NormalizeAndCheck )
{
    struct Row {
        std::string from, result, report = ""; // the report a line each
        bool full = false;
    };
    const Row rows[] = {
        { "{}", "{}" },
        { "{}", R"({"entries":[],"stackAddressPermitted":true,"rebuildInterval":600000})", "", true },
        { R"({"rebuildInterval":1,"stackAddressPermitted":false,"stackName":"a stack","entries":[]})",
            R"({"stackName":"a stack","stackAddressPermitted":false,"rebuildInterval":1})" },
        { R"({"stackName":"a b"})", R"({"stackName":"a b"})", R"(stackName: the file has no object "a b")" },
        { R"({"stackName":"o"})", R"({"stackName":"o"})", R"(stackName: "o" is of sort IN_FILTER, not IN_STACK)" },
        { entries( R"({"dnsSrvPrefixes":["_sip._udp","b"],"addressMatchingBits":300,"host":" 10.1.2.3",)"
                   R"("addressVersion":"IN_ADDRESS_VERSION_6","flags":"x|IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV"},)"
                   R"({"host":"b\u00fccher.example"})" ),
            entries( R"({"host":" 10.1.2.3","flags":"IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV",)"
                     R"("addressVersion":"IN_ADDRESS_VERSION_6","addressMatchingBits":300,)"
                     R"("dnsSrvPrefixes":["_sip._udp","b"]},{"host":"bücher.example","flags":""})" ),
            R"(entries.0.flags: unknown name "x" (known: IN_FILTER_ENTRY_FLAG_ADDRESS, )"
            R"(IN_FILTER_ENTRY_FLAG_DNS_QUERY_ADDRESSES, IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV)
entries.0.addressMatchingBits: 300 is more than the 32 bits of an address
entries.1.flags: no flag, so the entry permits nothing)" },
        // what is bad goes alone: a key, a prefix, an entry
        { entries( R"({"host":"a..b"},"a",{},{"host":"a","addressMatchingBits":-1,"addressVersion":"6","x":1,)"
                   R"("dnsSrvPrefixes":[".a","b",{}]},{"host":"::1","dnsSrvPrefixes":{}})" ),
            entries( R"({"host":"a","flags":"","dnsSrvPrefixes":["b"]},{"host":"::1","flags":""})" ),
            R"(entries.0: left out as a whole
entries.0.host: "a..b" does not parse
entries.0.flags: no flag, so the entry permits nothing
entries.1: wrong type
entries.2: left out as a whole
entries.2.host: missing
entries.2.flags: no flag, so the entry permits nothing
entries.3.addressMatchingBits: -1 is out of range
entries.3.addressVersion: unknown name "6" (known: IN_ADDRESS_VERSION_4, IN_ADDRESS_VERSION_6)
entries.3.x: unknown key
entries.3.dnsSrvPrefixes.0: ".a" does not parse
entries.3.dnsSrvPrefixes.2: wrong type
entries.3.flags: no flag, so the entry permits nothing
entries.3.dnsSrvPrefixes: without effect, since the flags do not ask for SRV records
entries.4.dnsSrvPrefixes: wrong type
entries.4.flags: no flag, so the entry permits nothing)" },
        { R"({"entries":{"0":{"host":"a"}},"stackName":"a/b","rebuildInterval":0,"stack":"a"})", "{}",
            R"(entries: wrong type
stackName: "a/b" does not parse
rebuildInterval: 0 is out of range
stack: unknown key)" },
    };
    for ( const Row &row : rows ) {
        pb::Ref<CS_CONFIG> config = test::fileOf( "IN_FILTER", row.from );
        csConfigSetObject( config.handle(), str( "a stack" ).get(), str( "IN_STACK" ).get(), nullptr );
        auto name = str( "o" );
        EXPECT_EQ( test::linesOf( csConfigCheckObject( config.get(), name.get() ) ), row.report );
        for ( int again = 0; again < 2; ++again ) {
            csConfigNormalize( config.handle(), row.full );
            EXPECT_EQ( textOf( pb::adopt( csConfigObjectConfig( config.get(), name.get() ) ).get() ), row.result );
        }
    }
}

/** What a check says of entries of which each key is good. */
TEST( FilterOptions, ChecksWhatEntriesPermit )
{
    const char *flags[] = { "IN_FILTER_ENTRY_FLAG_ADDRESS", "IN_FILTER_ENTRY_FLAG_DNS_QUERY_ADDRESSES",
        "IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV" };
    struct Row {
        const char *host;
        int flags; // bit by bit
        const char *more, *report = "";
    };
    const Row rows[] = {
        { "10.0.0.0", 1, R"(,"addressMatchingBits":8)" },
        { "10.0.0.0", 3, R"(,"addressMatchingBits":32,"addressVersion":"IN_ADDRESS_VERSION_4")" },
        { "::1", 1, R"(,"addressMatchingBits":128)" },
        { "10.0.0.256", 1, "", R"(host: "10.0.0.256" is no IP address)" },
        { "10.0.0.256", 3, "", R"(host: "10.0.0.256" is no IP address
stackName: missing, though entries have names to look up)" },
        { "10.0.0.0/8", 1, "",
            R"(host: "10.0.0.0/8" is no IP address; the number of bits goes into addressMatchingBits)" },
        { "1:2", 1, "", R"(host: "1:2" is no IP address)" },
        { "a.example", 1, "", R"(host: "a.example" is no IP address)" },
        { "a.example", 3, "", "stackName: missing, though entries have names to look up" },
        { "a.example", 2, R"(,"addressMatchingBits":129)",
            R"(addressMatchingBits: 129 is more than the 128 bits of an address
stackName: missing, though entries have names to look up)" },
        { "10.0.0.0", 1, R"(,"addressMatchingBits":33)",
            "addressMatchingBits: 33 is more than the 32 bits of an address" },
        { "::1", 1, R"(,"addressVersion":"IN_ADDRESS_VERSION_4")",
            R"(addressVersion: the host "::1" is of the other version)" },
        { "a.4you", 4, "", R"(dnsSrvPrefixes: missing, though the flags ask for SRV records
stackName: missing, though entries have names to look up)" },
        { "::1", 1, R"(,"dnsSrvPrefixes":["a"])",
            "dnsSrvPrefixes: without effect, since the flags do not ask for SRV records" },
    };
    for ( const Row &row : rows ) {
        std::string names;
        for ( int i = 0; i < 3; ++i )
            names += row.flags >> i & 1 ? flags[i] + std::string( "|" ) : "";
        std::string entry = std::string( R"({"host":")" ) + row.host + R"(","flags":")" + names + '"' + row.more + "}";
        pb::Ref<CS_CONFIG> config = test::fileOf( "IN_FILTER", entries( entry ) );
        std::string report = test::linesOf( csConfigCheckObject( config.get(), str( "o" ).get() ) );
        for ( std::size_t at; ( at = report.find( "entries.0." ) ) != report.npos; )
            report.erase( at, 10 );
        EXPECT_EQ( report, row.report ) << entry;
    }
}

TEST( FilterOptions, Accessors )
{
    pb::Ref<IN_FILTER_ENTRY> entry = pb::adopt( inFilterEntryCreate( str( "a" ).get() ) ), other = entry;
    inFilterEntryAppendDnsSrvPrefix( entry.handle(), str( "b" ).get() );
    inFilterEntryPrependDnsSrvPrefix( entry.handle(), str( "a" ).get() );
    inFilterEntryInsertDnsSrvPrefix( entry.handle(), 2, str( "d" ).get() );
    inFilterEntrySetDnsSrvPrefixAt( entry.handle(), 2, str( "c" ).get() );
    inFilterEntryDelDnsSrvPrefixAt( entry.handle(), 0 );
    inFilterEntrySetFlags( entry.handle(), -1 );
    EXPECT_EQ( textOf( pb::adopt( inFilterEntryDnsSrvPrefixesVector( entry.get() ) ).get() ), "[b, c]" );
    EXPECT_EQ( inFilterEntryFlags( entry.get() ), 7 );
    EXPECT_EQ( inFilterEntryDnsSrvPrefixesLength( other.get() ), 0 ) << "the other holder sees no change";

    pb::Ref<IN_FILTER_OPTIONS> opt = options( "{}" ), same = opt;
    inFilterOptionsAppendEntry( opt.handle(), entry.get() );
    EXPECT_EQ( inFilterOptionsEntriesLength( opt.get() ) - inFilterOptionsEntriesLength( same.get() ), 1 );
    inFilterEntryClearDnsSrvPrefixes( entry.handle() );
    EXPECT_FALSE( inFilterEntryEquals( pb::adopt( inFilterOptionsEntryAt( opt.get(), 0 ) ).get(), entry.get() ) );
}

TEST( Filter, Permits )
{
    struct Row {
        std::string entries;
        std::vector<const char *> permitted, refused;
    };
    const std::string version6 = R"(,"addressVersion":"IN_ADDRESS_VERSION_6")";
    const Row rows[] = {
        { literal( "10.1.2.3", bits( 8 ) ), { "10.0.0.0", "10.255.255.255" },
            { "9.255.255.255", "11.0.0.0", "a00::" } },
        { literal( "192.0.2.1", bits( 0 ) ), { "0.0.0.0", "255.255.255.255" }, { "::", "::1" } },
        { literal( "192.0.2.1", version6 ) + "," + literal( "::1", version6 ), { "::1" }, { "192.0.2.1" } },
        // without the flag, and names, which are no addresses
        { R"({"host":"192.0.2.1"},)" + literal( "a.example" ) + "," + literal( "::2" ), { "::2" }, { "192.0.2.1" } },
    };
    for ( const Row &row : rows ) {
        // one more tells when the table is there
        auto subject = filter( options( entries( literal( "203.0.113.7" ) + "," + row.entries ) ) );
        ASSERT_TRUE( soonPermits( subject, "203.0.113.7" ) ) << row.entries;
        for ( const char *text : row.permitted )
            EXPECT_TRUE( permits( subject, text ) ) << text << " by " << row.entries;
        for ( const char *text : row.refused )
            EXPECT_FALSE( permits( subject, text ) ) << text << " by " << row.entries;
    }
    auto subject = filter( options( entries( literal( "192.0.2.1" ) ) ) );
    ASSERT_TRUE( soonPermits( subject, "192.0.2.1" ) );
    auto ina = address( "192.0.2.1" );
    auto ta = pb::adopt( inTcpAddressCreate( ina.get(), 1 ) );
    auto ua = pb::adopt( inUdpAddressCreate( ina.get(), 1 ) );
    auto ra = pb::adopt( inRawAddressCreate( ina.get(), 1 ) );
    EXPECT_TRUE( inFilterCheckTcpAddress( subject.get(), ta.get() ) );
    EXPECT_TRUE( inFilterCheckUdpAddress( subject.get(), ua.get() ) );
    EXPECT_TRUE( inFilterCheckRawAddress( subject.get(), ra.get() ) );
}

struct Row {
    pb::Ref<IN_ADDRESS> address;
    PB_INT bits;

    bool permits( IN_ADDRESS *ina ) const
    {
        if ( bits == -1 || inAddressVersion( address.get() ) != inAddressVersion( ina ) )
            return inAddressEquals( address.get(), ina );
        return inAddressMatchingBits( address.get(), ina ) >= bits;
    }
};

in::FilterTable tableOf( const std::vector<Row> &rows )
{
    pb::Ref<PB_VECTOR> addresses = pb::adopt( pbVectorCreate() ), numbers = pb::adopt( pbVectorCreate() );
    for ( const Row &row : rows ) {
        pbVectorAppend( addresses.handle(), pb::obj( row.address.get() ) );
        pbVectorAppend( numbers.handle(), pb::obj( pb::adopt( pbBoxedIntCreate( row.bits ) ).get() ) );
    }
    return { addresses, numbers };
}

/** Addresses that share much: few different bytes, so that ranges touch and overlap; the ends of the space too. */
pb::Ref<IN_ADDRESS> randomAddress( std::mt19937_64 &random )
{
    PB_BYTE bytes[16];
    bool ends = random() % 4 == 0;
    for ( PB_BYTE &byte : bytes )
        byte = static_cast<PB_BYTE>( ends ? 0 - random() % 2 : random() % 8 ? 0x80 : random() );
    return pb::adopt( random() % 2 ? inAddressCreateV4( bytes ) : inAddressCreateV6( bytes ) );
}

TEST( FilterTable, PermitsWhatARowDoes )
{
    std::mt19937_64 random( 3 );
    int count[2] = {};
    for ( int round = 0; round < 300; ++round ) {
        std::vector<Row> rows( 1 + random() % ( round % 10 ? 40 : 600 ) );
        for ( Row &row : rows ) {
            row.address = randomAddress( random );
            // mostly many bits, otherwise everything is permitted; now and then too many, or none
            row.bits = inAddressLength( row.address.get() ) * 8 + 1 - PB_INT_FROM( random() % 10 );
            row.bits = random() % 4 == 0 ? -1 : random() % 300 == 0 ? 0 : row.bits;
        }
        in::FilterTable table = tableOf( rows );
        for ( int i = 0; i < 200; ++i ) {
            // any one, or one beside a row's
            pb::Ref<IN_ADDRESS> ina = random() % 2 ? randomAddress( random ) : rows[random() % rows.size()].address;
            PB_INT last = inAddressLength( ina.get() ) - 1;
            auto byte = static_cast<PB_BYTE>( inAddressByteAt( ina.get(), last ) + random() % 5 - 2 );
            inAddressSetByteAt( ina.handle(), last, byte );
            bool expected = std::ranges::any_of( rows, [&]( const Row &row ) { return row.permits( ina.get() ); } );
            ASSERT_EQ( table.permits( ina.get() ), expected ) << textOf( ina.get() );
            ++count[expected];
        }
    }
    EXPECT_GT( std::min( count[0], count[1] ), 5'000 );
}

TEST( Filter, TracesAndRebuilds )
{
    test::Recording recording;
    auto subject =
        filter( options( R"({"rebuildInterval":1,)" +
                         entries( literal( "10.0.0.1", bits( 8 ) ) + "," + literal( "::1" ) ).substr( 1 ) ) );
    EXPECT_TRUE( recording.brings( "\"IN_FILTER\"" ) );
    for ( int again = 0; again < 3; ++again ) { // every millisecond
        EXPECT_TRUE( recording.brings( "in___FilterImpRebuild()" ) );
        EXPECT_TRUE( recording.brings( R"("key":"inFilterAddresses","value":["10.0.0.1/8","::1/-1"])" ) );
    }
    // other options take effect at once, however long the interval
    inFilterSetOptions( subject.get(), options( entries( literal( "192.0.2.1" ) ) ).get() );
    EXPECT_TRUE( soonPermits( subject, "192.0.2.1" ) );
    EXPECT_FALSE( permits( subject, "10.0.0.1" ) );
    inFilterSetOptions( subject.get(), options( "{}" ).get() );
    EXPECT_TRUE( soonPermits( subject, "192.0.2.1", false ) );
    subject = nullptr;
    EXPECT_TRUE( recording.brings( "[in___FilterImpHalt()]" ) );
}

TEST_F( FilterStore, FollowsItsStack )
{
    const std::string loopback = R"({"flags":"IN_FLAG_LOOPBACK_ONLY","addressVersion":"IN_ADDRESS_VERSION_4"})";
    const std::string byName = R"({"stackName":"s"})";
    test::Recording recording;
    set( "f", "IN_FILTER", byName );
    auto subject = pb::adopt( inFilterFrom( csStoreObject( str( "f" ).get() ) ) );
    EXPECT_FALSE( permits( subject, "127.0.0.1" ) );
    set( "s", "IN_STACK", loopback );
    EXPECT_TRUE( soonPermits( subject, "127.0.0.1" ) );
    EXPECT_TRUE( recording.brings( "inFilterInStack" ) );
    EXPECT_FALSE( permits( subject, "127.0.0.2" ) );
    set( "f", "IN_FILTER", R"({"stackName":"s","stackAddressPermitted":false})" );
    EXPECT_FALSE( permits( subject, "127.0.0.1" ) ) << "at once: this is no part of the table";
    set( "f", "IN_FILTER", byName );
    EXPECT_TRUE( soonPermits( subject, "127.0.0.1" ) );
    csStoreDelObject( str( "s" ).get() );
    EXPECT_TRUE( soonPermits( subject, "127.0.0.1", false ) );

    // one that is given goes before the name
    auto stackOptions = pb::adopt( inOptionsRestore( test::storeOf( loopback ).get() ) );
    auto stack = pb::adopt( inStackCreate( stackOptions.get(), nullptr ) );
    pb::Ref<IN_FILTER_OPTIONS> direct = options( byName );
    inFilterOptionsSetStack( direct.handle(), stack.get() );
    EXPECT_FALSE( inFilterOptionsEquals( direct.get(), options( byName ).get() ) );
    inFilterSetOptions( subject.get(), direct.get() );
    EXPECT_TRUE( soonPermits( subject, "127.0.0.1" ) );
}

TEST( Filter, ReconfiguredWhileItIsChecked )
{
    // 10.0.0.1 by either, 10.0.0.2 by one, 10.0.0.3 by none
    const std::string always = literal( "10.0.0.1" ) + "," + literal( "192.0.2.0", bits( 24 ) );
    pb::Ref<IN_FILTER_OPTIONS> both[] = {
        options( entries( always ) ), options( entries( always + "," + literal( "10.0.0.2" ) ) ) };
    auto subject = filter( both[0] );
    ASSERT_TRUE( soonPermits( subject, "10.0.0.1" ) );
    std::atomic<int> seen[2] = { 0, 0 };
    std::atomic<bool> end = false;
    std::vector<std::jthread> checkers;
    for ( int i = 0; i < 8; ++i )
        checkers.emplace_back( [&] {
            while ( !end ) {
                EXPECT_TRUE( permits( subject, "10.0.0.1" ) );
                EXPECT_FALSE( permits( subject, "10.0.0.3" ) );
                ++seen[permits( subject, "10.0.0.2" )];
            }
        } );
    std::size_t changes = 0;
    EXPECT_TRUE( eventually( [&] {
        inFilterSetOptions( subject.get(), both[++changes % 2].get() );
        return changes > 100 && seen[0] > 100 && seen[1] > 100;
    } ) );
    end = true;
    checkers.clear(); // waits for them
    inFilterSetOptions( subject.get(), both[1].get() );
    EXPECT_TRUE( soonPermits( subject, "10.0.0.2" ) ) << "the last ones count";
}

TEST_F( FilterStore, ReleasedDuringARebuild )
{
    std::string many = R"({"stackName":"s","rebuildInterval":1,"entries":[)";
    for ( int i = 0; i < 2'000; ++i )
        many += literal( "10.0." + std::to_string( i / 250 ) + "." + std::to_string( i % 250 ) ) +
                ( i < 1'999 ? "," : "]}" );
    pb::Ref<IN_FILTER_OPTIONS> large = options( many ), none = options( "{}" );
    for ( PB_INT i = 0; i < 50; ++i ) {
        auto subject = filter( large );
        std::thread other( [&] {
            inFilterSetOptions( subject.get(), none.get() );
            inFilterSetOptions( subject.get(), large.get() );
        } );
        set( "s", "IN_STACK", "{}" );
        pbSleep( i % 4 );
        csStoreDelObject( str( "s" ).get() );
        other.join();
    }
    for ( int i = 0; i < 20; ++i ) { // one that the store holds alone
        set( "f", "IN_FILTER", entries( literal( "10.0.0.1" ) ) );
        csStoreDelObject( str( "f" ).get() );
    }
}

} // namespace
