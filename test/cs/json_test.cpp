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
                1,
                "two",
                {},
                [],
                [
                    null
                ]
            ],
            "sort": "IN_STACK",
            "config": {
                "b": 1.0,
                "a": 12345678901234567890,
                "10": -0,
                "9": 1E+2,
                "8": 123456789012345678901234567890.50,
                "-": -9223372036854775808,
                "t": true,
                "quoted": "1.0",
                "word": "true"
            }
        },
        "Ärger 😀": {
            "sort": "S",
            "config": {
                "\u0000\u001f\b\f\n\r\t\"\\/": "\u0000"
            }
        }
    },
    "modules": {
        "in": "17.1",
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
    EXPECT_EQ( test::objects( changed.get() ).substr( 0, 10 ), "zebra T -;" );
}

TEST( Json, OtherSpellingsOfTheSame )
{
    struct {
        std::string_view text, encoded;
    } rows[] = {
        { "{}", "{}\n" },
        { "\xEF\xBB\xBF \t\r\n{ }\n", "{}\n" },
        { R"({"objects":{}})", "{\n    \"objects\": {}\n}\n" },
        { R"({"a":"\u00e4\uD83D\uDE00\/\u0041"})", "{\n    \"a\": \"ä😀/A\"\n}\n" },
    };
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
    struct {
        std::string_view text;
        std::string error;
    } rows[] = {
        // what is not JSON
        { "", "1:1 expected an object, found the end of the text" },
        { " \n ", "2:2 expected an object, found the end of the text" },
        { "[]", "1:1 expected an object, found an array" },
        { "\"x", "1:1 expected an object, found a string" },
        { "7", "1:1 expected an object, found a number" },
        { "// x\n{}", "1:1 expected an object, found \"/\"" },
        { "\xEF\xBB{}", "1:1 expected an object, found a character beyond ASCII" },
        { "\xEF\xBB\xBF{]", "1:2 expected a key or \"}\", found \"]\"" },
        { "{", "1:2 expected a key or \"}\", found the end of the text" },
        { "{,}", "1:2 expected a key or \"}\", found \",\"" },
        { "{a: 1}", "1:2 expected a key or \"}\", found \"a\"" },
        { "{\"a\" 1}", "1:6 expected a colon, found a number" },
        { "{\"a\", 1}", "1:5 expected a colon, found \",\"" },
        { "{\"a\":}", "1:6 expected a value, found \"}\"" },
        { "{\"a\"::1}", "1:6 expected a value, found \":\"" },
        { "{\"a\":1 \"b\":2}", "1:8 expected a comma or \"}\", found a string" },
        { "{\"a\":1:2}", "1:7 expected a comma or \"}\", found \":\"" },
        { "{\"a\":1,}", "1:8 expected a key, found \"}\"" },
        { "{\"a\":1,,\"b\":2}", "1:8 expected a key, found \",\"" },
        { "{\"a\":[", "1:7 expected a value or \"]\", found the end of the text" },
        { "{\"a\":[1,]}", "1:9 expected a value, found \"]\"" },
        { "{\"a\":[1 2]}", "1:9 expected a comma or \"]\", found a number" },
        { "{\"a\":[{}}", "1:9 expected a comma or \"]\", found \"}\"" },
        { "{\"a\":nul}", "1:6 expected a value, found \"nul\"" },
        { "{\"a\":True}", "1:6 expected a value, found \"True\"" },
        { "{\"a\":truex}", "1:10 expected a comma or \"}\", found \"x\"" },
        { "{\"a\":01}", "1:7 expected a comma or \"}\", found a number" },
        { "{\"a\":-}", "1:6 malformed number" },
        { "{\"a\": 1.}", "1:7 malformed number" },
        { "{\"a\":1e400}", "1:6 the number is out of range" },
        { "{\"a\":.5}", "1:6 expected a value, found \".\"" },
        { "{} x", "1:4 expected the end of the text, found \"x\"" },
        { "{},", "1:3 expected the end of the text, found \",\"" },
        { "{}\0"sv, "1:3 expected the end of the text, found U+0000" },
        { "{\0}"sv, "1:2 expected a key or \"}\", found U+0000" },
        { "{\"a\": \"x", "1:7 the string does not end" },
        { "{\"a\": \"x\\", "1:7 the string does not end" },
        { "{\"a", "1:2 the string does not end" },
        { "{\"a\":\"x\ty\"}", "1:8 control character U+0009 in a string" },
        { "{\"a\":\"\0\"}"sv, "1:7 control character U+0000 in a string" },
        { "{\"a\":\"\\q\"}", "1:7 a backslash must be followed by one of \" \\ / b f n r t u" },
        { "{\"a\":\"\\u12g4\"}", "1:7 \\u must be followed by four hexadecimal digits" },
        { "{\"a\":\"\\ud800\"}", "1:7 half of a surrogate pair" },
        { "{\"a\":\"\\ud800\\n\"}", "1:7 half of a surrogate pair" },
        { "{\"a\":\"\\ud800\\ud800\"}", "1:7 half of a surrogate pair" },
        { "{\"a\":\"\\n\\udc00x\"}", "1:9 half of a surrogate pair" },
        { "{\"a\":\"x\xC3(\"}", "1:9 ill-formed UTF-8" },
        { "{\"a\":\"\xC0\x80\"}", "1:7 ill-formed UTF-8" },
        { "{\"a\":\"\xED\xA0\x80\"}", "1:8 ill-formed UTF-8" },
        { "{\"\xFF\":0}", "1:3 ill-formed UTF-8" },
        { "{\n  \"ä€😀\": \"ö\" x", "2:14 expected a comma or \"}\", found \"x\"" },
        { "{\"a\":1,\r\n\t\"a\":2}", "2:2 the key \"a\" stands twice" },
        { "{\"a\":[{\"b\":1,\"\\u0062\":2}]}", "1:14 the key \"b\" stands twice" },
        // what is JSON but no configuration
        { "{\"modules\": []}", "1:13 \"modules\" must be an object" },
        { "{\"modules\": {\"in\": 17.1}}", "1:20 the version of module \"in\" must be a string like \"17.1\"" },
        { "{\"modules\": {\"in\":\n{}}}", "2:1 the version of module \"in\" must be a string like \"17.1\"" },
        { "{\"modules\": {\"in\": \"17\"}}", "1:20 the version of module \"in\" must be a string like \"17.1\"" },
        { "{\"objects\": null}", "1:13 \"objects\" must be an object" },
        { "{\"objects\":\n{\"ok\": {\"sort\":\"S\"}, \"a/b\": {}}}", "2:22 \"a/b\" cannot name an object" },
        { "{\"objects\": {\"a\\n\": 0}}", "1:14 \"a\\n\" cannot name an object" },
        { "{\"objects\": {\"a\": []}}", "1:19 object \"a\" must be an object with \"sort\" and \"config\"" },
        { "{\"objects\": {\"a\": {\"config\": {}}}}", "1:19 object \"a\" has no \"sort\"" },
        { "{\"objects\": {\"a\": {\"sort\": 5}}}", "1:28 the sort of object \"a\" must be a string, not an empty one" },
        { "{\"objects\": {\"a\": {\"sort\": \"\"}}}",
            "1:28 the sort of object \"a\" must be a string, not an empty one" },
        { "{\"objects\": {\"a\": {\"sort\": \"S\", \"config\": []}}}",
            "1:43 the configuration of object \"a\" must be an object" },
    };
    for ( const auto &row : rows ) {
        std::size_t colon = row.error.find( ':' ), blank = row.error.find( ' ' );
        std::string line = row.error.substr( 0, colon ), column = row.error.substr( colon + 1, blank - colon - 1 );
        EXPECT_EQ( decodeError( row.text ), "line " + line + ", column " + column + ":" + row.error.substr( blank ) )
            << row.text;
    }
}

TEST( Json, NamesOfObjects )
{
    auto longest = []( int count ) {
        std::string text;
        while ( count-- )
            text += "😀";
        return text;
    };
    std::pair<std::string, bool> rows[] = { { "a", true }, { "voice line 2", true }, { "Ä.b-c_d:e'", true },
        { longest( 255 ), true }, { longest( 256 ), false }, { "", false }, { " a", false }, { "a ", false },
        { "a\xE2\x80\x83", false }, { "a\tb", false }, { "a\x7F", false }, { "a\xC2\x85x", false }, { "a/b", false },
        { "a\\b", false }, { "a\"b", false } };
    for ( const auto &[name, ok] : rows )
        EXPECT_EQ( csObjectRecordNameOk( test::str( name ).get() ), ok ) << name;
    PB_CHAR surrogate = 0xD800;
    EXPECT_FALSE( csObjectRecordNameOk( pb::adopt( pbStringCreateFromCharsCopy( &surrogate, 1 ) ).get() ) );
}
