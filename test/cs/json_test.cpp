/* What is a configuration file and what is not: texts that come back as they were, and every way to be refused. */
#include "box.hpp"
#include <cs/cs_json_private.h>

static const int fixture = test::addFixture( 10, { [] {
                                                      PB_ASSERT( tr___ModuleStartup() );
                                                      PB_ASSERT( cs___ModuleStartup() );
                                                  },
                                                     [] {
                                                         cs___ModuleShutdown();
                                                         cs___ModuleShutdownWait();
                                                         tr___ModuleShutdown();
                                                     } } );

static std::string decodeError( std::string_view json )
{
    pb::Ref<PB_STRING> error;
    test::Config config = pb::adopt( csConfigTryDecode( test::buffer( json ).get(), error.handle() ) );
    EXPECT_EQ( !config, static_cast<bool>( error ) );
    return error ? pb::text( error.get() ) : "";
}

TEST( Json, TextsComeBackAsTheyWere )
{
    std::string_view text = R"({
    "comment": "kept",
    "objects": {
        "zebra": {
            "note": [
                "two",
                {},
                [
                    null
                ]
            ],
            "sort": "IN_STACK",
            "config": {
                "b": 1.0,
                "a": 123456789012345678901234567890.50,
                "10": -0,
                "9": 1E+2,
                "t": true,
                "quoted": "1.0",
                "\u0000\u001f\b\f\n\r\t\"\\/Ä😀": "true"
            }
        }
    },
    "modules": {
        "unknown": "3.0"
    },
    "last": false
}
)";
    test::Config config = test::config( text );
    EXPECT_EQ( test::encoded( config.get() ), text );
    EXPECT_EQ( test::take( csConfigObjectSort( config.get(), test::str( "zebra" ).get() ) ), "IN_STACK" );
    // Setting an object keeps its place, and what is not known in its record.
    test::Config changed = config;
    auto zebra = test::str( "zebra" );
    csConfigSetObject( changed.handle(), zebra.get(), test::str( "T" ).get(), nullptr );
    EXPECT_EQ( test::encoded( config.get() ), text );
    EXPECT_NE( test::encoded( changed.get() ).find( R"("note": [)" ), std::string::npos );
    EXPECT_EQ( test::objects( changed.get() ), "zebra T -" );
}

TEST( Json, OtherSpellingsOfTheSame )
{
    struct {
        std::string_view text, encoded;
    } rows[] = { { "\xEF\xBB\xBF \t\r\n{ }\n", "{}\n" }, { R"({"objects":{}})", "{\n    \"objects\": {}\n}\n" },
        { R"({"a":"\u00e4\uD83D\uDE00\/\u0041"})", "{\n    \"a\": \"ä😀/A\"\n}\n" } };
    for ( const auto &row : rows )
        EXPECT_EQ( test::encoded( test::config( row.text ).get() ), row.encoded );
    test::Config empty = pb::adopt( csConfigCreate() );
    EXPECT_EQ( test::encoded( empty.get() ), "{\n    \"modules\": {},\n    \"objects\": {}\n}\n" );
}

TEST( Json, WhatIsMarkedBareIsOnlyWrittenSoWhenItReadsBack )
{
    for ( std::string_view word : { "1", "-0.5e-7", "true", "null" } ) {
        for ( std::string_view text : { word, std::string_view( "1e999" ), std::string_view( "01" ),
                  std::string_view( "{}" ), std::string_view( "\"x\"" ), std::string_view( " 1" ),
                  std::string_view( "1\0", 2 ), std::string_view( "yes" ), std::string_view( "" ) } ) {
            test::Store store = pb::adopt( pbStoreCreateArray() );
            pbStoreAppendValue( store.handle(), test::str( text ).get() );
            pbStoreSetBareAt( store.handle(), 0, true );
            bool quoted = cs::jsonEncode( store.get() ).find( '"' ) != std::string::npos;
            EXPECT_EQ( quoted, text != word ) << text;
        }
    }
}

TEST( Json, NestingIsLimited )
{
    auto nested = []( int depth ) {
        std::string text = "{\"a\":";
        for ( int i = 1; i < depth; ++i )
            text += i % 2 ? "[" : "{\"a\":";
        text += "0";
        for ( int i = depth - 1; i > 0; --i )
            text += i % 2 ? "]" : "}";
        return text + "}";
    };
    EXPECT_EQ( decodeError( nested( 64 ) ), "" );
    EXPECT_EQ( decodeError( nested( 65 ) ), "line 1, column 193: nested deeper than 64 levels" );
    EXPECT_EQ( decodeError( std::string( 1'000'000, '[' ) ), "line 1, column 1: expected an object, found an array" );
}

TEST( Json, ErrorsSayWhereAndWhat )
{
    using namespace std::literals;
    const std::pair<std::string_view, std::string> rows[] = {
        { "", "1:1 expected an object, found the end of the text" }, { "7", "1:1 expected an object, found a number" },
        { "\xEF\xBB{}", "1:1 expected an object, found a character beyond ASCII" },
        { "\xEF\xBB\xBF{]", "1:2 expected a key or \"}\", found \"]\"" },
        { "{", "1:2 expected a key or \"}\", found the end of the text" },
        { "{a: 1}", "1:2 expected a key or \"}\", found \"a\"" },
        { "{\"a\" 1}", "1:6 expected a colon, found a number" }, { "{\"a\":}", "1:6 expected a value, found \"}\"" },
        { "{\"a\":1 \"b\":2}", "1:8 expected a comma or \"}\", found a string" },
        { "{\"a\":1,}", "1:8 expected a key, found \"}\"" },
        { "{\"a\":[", "1:7 expected a value or \"]\", found the end of the text" },
        { "{\"a\":[1 2]}", "1:9 expected a comma or \"]\", found a number" },
        { "{\"a\":nul}", "1:6 expected a value, found \"nul\"" },
        { "{\"a\":truex}", "1:10 expected a comma or \"}\", found \"x\"" },
        { "{\"a\":01}", "1:7 expected a comma or \"}\", found a number" }, { "{\"a\": 1.}", "1:7 malformed number" },
        { "{\"a\":1e400}", "1:6 the number is out of range" }, { "{\"a\":.5}", "1:6 expected a value, found \".\"" },
        { "{} x", "1:4 expected the end of the text, found \"x\"" },
        { "{}\0"sv, "1:3 expected the end of the text, found U+0000" },
        { "{\"a\": \"x", "1:7 the string does not end" },
        { "{\"a\":\"x\ty\"}", "1:8 control character U+0009 in a string" },
        { "{\"a\":\"\\q\"}", "1:7 a backslash must be followed by one of \" \\ / b f n r t u" },
        { "{\"a\":\"\\u12g4\"}", "1:7 \\u must be followed by four hexadecimal digits" },
        { "{\"a\":\"\\ud800\"}", "1:7 half of a surrogate pair" },
        { "{\"a\":\"\\ud800\\ud800\"}", "1:7 half of a surrogate pair" },
        { "{\"a\":\"\\n\\udc00x\"}", "1:9 half of a surrogate pair" }, { "{\"a\":\"x\xC3(\"}", "1:9 ill-formed UTF-8" },
        { "{\"a\":\"\xED\xA0\x80\"}", "1:8 ill-formed UTF-8" },
        { "{\n  \"ä€😀\": \"ö\" x", "2:14 expected a comma or \"}\", found \"x\"" },
        { "{\"a\":1,\r\n\t\"a\":2}", "2:2 the key \"a\" stands twice" },
        { "{\"a\":[{\"b\":1,\"\\u0062\":2}]}", "1:14 the key \"b\" stands twice" },
        { "{\"modules\": []}", "1:13 \"modules\" must be an object" },
        { "{\"modules\": {\"in\": 17.1}}", "1:20 the version of module \"in\" must be a string like \"17.1\"" },
        { "{\"modules\": {\"in\": \"17\"}}", "1:20 the version of module \"in\" must be a string like \"17.1\"" },
        { "{\"objects\": null}", "1:13 \"objects\" must be an object" },
        { "{\"objects\":\n{\"ok\": {\"sort\":\"S\"}, \"a/b\": {}}}", "2:22 \"a/b\" cannot name an object" },
        { "{\"objects\": {\"a\": []}}", "1:19 object \"a\" must be an object with \"sort\" and \"config\"" },
        { "{\"objects\": {\"a\": {\"config\": {}}}}", "1:19 object \"a\" has no \"sort\"" },
        { "{\"objects\": {\"a\": {\"sort\": 5}}}", "1:28 the sort of object \"a\" must be a string, not an empty one" },
        { "{\"objects\": {\"a\": {\"sort\": \"S\", \"config\": []}}}",
            "1:43 the configuration of object \"a\" must be an object" } };
    for ( const auto &[text, error] : rows ) {
        std::size_t colon = error.find( ':' ), blank = error.find( ' ' );
        std::string line = error.substr( 0, colon ), column = error.substr( colon + 1, blank - colon - 1 );
        EXPECT_EQ( decodeError( text ), "line " + line + ", column " + column + ":" + error.substr( blank ) ) << text;
    }
}

TEST( Json, NamesOfObjects )
{
    std::string longest;
    for ( int i = 0; i < 255; ++i )
        longest += "😀";
    for ( const std::string &name : { std::string( "voice line 2" ), std::string( "Ä.b-c_d:e'" ), longest } )
        EXPECT_TRUE( csObjectRecordNameOk( test::str( name ).get() ) ) << name;
    for ( const std::string &name : { longest + "x", std::string(), std::string( " a" ), std::string( "a\xE2\x80\x83" ),
              std::string( "a\tb" ), std::string( "a\x7F" ), std::string( "a\xC2\x85x" ), std::string( "a/b" ),
              std::string( "a\\b" ), std::string( "a\"b" ) } )
        EXPECT_FALSE( csObjectRecordNameOk( test::str( name ).get() ) ) << name;
    PB_CHAR surrogate = 0xD800;
    EXPECT_FALSE( csObjectRecordNameOk( pb::adopt( pbStringCreateFromCharsCopy( &surrogate, 1 ) ).get() ) );
}
