/* The command that shows what stacks choose, and why, and follows them. */
#include <tool/tool_stack_choice.hpp>
#include <tool/tool_wake.hpp>
#include <tool/tool_watch.hpp>

namespace {

using tool::Json;
using tool::NamedStack;
using tool::take;

/** What a stack has chosen, at one moment. */
struct Chosen {
    pb::Ref<IN_OPTIONS> options;
    pb::Ref<IN_ADDRESS> address;
    pb::Ref<IN_NW_INTERFACE> primary;
    pb::Ref<PB_VECTOR> interfaces;
    PB_BOOL up = false;
};

Chosen look( IN_STACK *stack )
{
    Chosen chosen;
    inStackConfiguration( stack, chosen.options.handle(), chosen.address.handle(), chosen.primary.handle(),
        chosen.interfaces.handle(), &chosen.up );
    return chosen;
}

std::vector<std::string> identifiers( const Chosen &chosen )
{
    std::vector<std::string> names;
    tool::forEach<IN_NW_INTERFACE>( pb::share( chosen.interfaces.get() ).give(),
        [&]( IN_NW_INTERFACE *interface ) { names.push_back( take( inNwInterfaceIdentifier( interface ) ) ); } );
    return names;
}

std::string addressOf( const Chosen &chosen )
{
    return chosen.address ? take( inAddressToString( chosen.address.get() ) ) : "";
}

std::string primaryOf( const Chosen &chosen )
{
    return chosen.primary ? take( inNwInterfaceIdentifier( chosen.primary.get() ) ) : "";
}

Json describe( const NamedStack &named )
{
    Chosen chosen = look( named.stack.get() );
    Json item{ { "name", named.name }, { "up", bool( chosen.up ) } };
    item["address"] = chosen.address ? Json( addressOf( chosen ) ) : Json();
    item["primaryInterface"] = chosen.primary ? Json( primaryOf( chosen ) ) : Json();
    item["interfaces"] = identifiers( chosen );
    item["tcpBlacklist"] = tool::toJson( pb::adopt( inStackTcpBlacklist( named.stack.get() ) ).get() );
    item["options"] = tool::toJson( pb::adopt( inOptionsStore( chosen.options.get(), false ) ).get() );
    if ( !named.ignored.empty() )
        item["ignored"] = named.ignored;
    item.update( tool::toJson( pb::adopt( inStackSelection( named.stack.get() ) ).get() ) );
    return item;
}

/** A score is even, and one more for the address that the stack has already. */
std::string verdict( const Json &candidate )
{
    if ( candidate.contains( "droppedBy" ) )
        return "dropped by the option " + candidate["droppedBy"].get<std::string>();
    int score = candidate["score"];
    const char *kind = score >= 8 ? "ordinary" : score >= 4 ? "link-local" : "loopback";
    return fmt::format( "score {} ({}{}){}", score, kind, score % 2 ? ", in use" : "",
        candidate.contains( "chosen" ) ? ": chosen" : "" );
}

/** The remote addresses that are passed over, each with how long it still is. */
Json blacklistText( const Json &entries )
{
    Json texts = Json::array();
    for ( const Json &entry : entries )
        texts.push_back( fmt::format(
            "{} (for {:.0f} s)", entry["address"].get<std::string>(), entry["milliseconds"].get<double>() / 1000 ) );
    return texts;
}

/** For people: the description without the candidates, and those as a table. */
void printText( const tool::Output &output, Json item )
{
    std::vector<tool::Row> rows;
    for ( const Json &candidate : item["candidates"] )
        rows.push_back( { candidate["address"], fmt::format( "{}", fmt::join( candidate["interfaces"], ", " ) ),
            verdict( candidate ) } );
    item.erase( "candidates" );
    item["tcpBlacklist"] = blacklistText( item["tcpBlacklist"] );
    for ( const char *key : { "address", "primaryInterface" } )
        if ( item[key].is_null() )
            item[key] = "none";
    output.print( item );
    output.table( { "CANDIDATE", "INTERFACES", "" }, rows, "    " );
}

void print( const tool::Output &output, const std::vector<NamedStack> &stacks )
{
    Json results = Json::array();
    for ( const NamedStack &stack : stacks )
        results.push_back( describe( stack ) );
    if ( output.json )
        return output.print( results );
    for ( const Json &item : results ) {
        if ( &item != &results.front() )
            tool::write( "\n" );
        printText( output, item );
    }
}

tool::Facts factsOf( IN_STACK *stack )
{
    Chosen chosen = look( stack );
    auto one = []( const std::string &text ) {
        return text.empty() ? std::set<std::string>() : std::set<std::string>{ text };
    };
    std::vector<std::string> names = identifiers( chosen );
    return {
        { "state", { chosen.up ? "up" : "down" } },
        { "chosen address", one( addressOf( chosen ) ) },
        { "primary interface", one( primaryOf( chosen ) ) },
        { "interface", { names.begin(), names.end() }, false },
    };
}

void follow( const tool::Wake &wake, const std::vector<NamedStack> &stacks )
{
    for ( const NamedStack &stack : stacks )
        inStackUpdateAddSignalable( stack.stack.get(), wake.signalable() );
}

void watch( const tool::Output &output, const std::vector<NamedStack> &stacks )
{
    tool::Wake wake;
    tool::Interrupt interrupt( wake );
    tool::ChangePrinter printer( output );
    std::vector<tool::Facts> known;
    follow( wake, stacks );
    for ( const NamedStack &stack : stacks ) {
        known.push_back( factsOf( stack.stack.get() ) );
        if ( output.json )
            printer.happened( stack.name, "present", describe( stack ) );
    }
    if ( !output.json )
        print( output, stacks );
    tool::flush();
    for ( ;; ) {
        wake.wait();
        if ( interrupt.came() )
            return;
        follow( wake, stacks );
        for ( std::size_t i = 0; i < stacks.size(); ++i ) {
            tool::Facts now = factsOf( stacks[i].stack.get() );
            printer.changed( stacks[i].name, known[i], now );
            known[i] = std::move( now );
        }
    }
}

} // namespace

void tool::addStackCommand( CLI::App &app, Output &output )
{
    static StackChoice choice;
    static bool watching = false;
    CLI::App *command = app.add_subcommand( "stack",
        "Show which address and interfaces a stack chooses, and why: the stacks of a file, or one of the given "
        "options" );
    choice.addOptions( *command, "--name" );
    command->add_flag( "--watch", watching, "Then print each change, until interrupted" );
    command->callback( [&] {
        std::vector<NamedStack> stacks = choice.all();
        watching ? watch( output, stacks ) : print( output, stacks );
    } );
}
