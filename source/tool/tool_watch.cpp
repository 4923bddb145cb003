/* Printing changes. */
#include <algorithm>
#include <iterator>
#include <tool/tool_time.hpp>
#include <tool/tool_watch.hpp>

namespace {

using tool::Json;

using Texts = std::set<std::string>;

Texts without( const Texts &all, const Texts &others )
{
    Texts left;
    std::ranges::set_difference( all, others, std::inserter( left, left.end() ) );
    return left;
}

Json valueOf( const tool::Fact &fact )
{
    return fact.values.empty() ? Json() : Json( *fact.values.begin() );
}

std::string textOf( const tool::Fact &fact )
{
    return fact.values.empty() ? fact.absent : *fact.values.begin();
}

} // namespace

void tool::ChangePrinter::print( const std::string &thing, const Json &change, const std::string &text ) const
{
    Json object{ { "time", timeInFull() }, { "name", thing } };
    object.update( change );
    output.line(
        object, fmt::format( "{} {}: {}", timeOfDay(), output.bold( printable( thing ) ), printable( text ) ) );
}

void tool::ChangePrinter::happened( const std::string &thing, const std::string &change, const Json &details ) const
{
    Json object{ { "change", change } };
    object.update( details );
    print( thing, object, change );
}

void tool::ChangePrinter::single( const std::string &thing, const Fact &before, const Fact &now ) const
{
    if ( before.values != now.values )
        print( thing, { { "change", now.name }, { "from", valueOf( before ) }, { "to", valueOf( now ) } },
            fmt::format( "{} {} -> {}", now.name, textOf( before ), textOf( now ) ) );
}

void tool::ChangePrinter::several( const std::string &thing, const Fact &before, const Fact &now ) const
{
    // what an address is need not be said
    std::string name = now.name == "address" ? "" : now.name + " ";
    for ( const std::string &text : without( before.values, now.values ) )
        print( thing, { { "change", now.name }, { "removed", text } }, fmt::format( "- {}{}", name, text ) );
    for ( const std::string &text : without( now.values, before.values ) )
        print( thing, { { "change", now.name }, { "added", text } }, fmt::format( "+ {}{}", name, text ) );
}

void tool::ChangePrinter::changed( const std::string &thing, const Facts &before, const Facts &now ) const
{
    for ( std::size_t i = 0; i < now.size(); ++i )
        if ( now[i].single )
            single( thing, before[i], now[i] );
        else
            several( thing, before[i], now[i] );
}
