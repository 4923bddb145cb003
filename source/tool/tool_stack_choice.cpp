/* Stacks from files and from options. */
#include <tool/tool_stack_choice.hpp>
#include <tool/tool_wake.hpp>

namespace {

using tool::NamedStack;
using tool::take;

/** Waits until the stack has looked at the host: its options, given once more, make it do so after we began to listen. */
void settle( IN_STACK *stack )
{
    tool::Wake wake;
    inStackUpdateAddSignalable( stack, wake.signalable() );
    inStackSetOptions( stack, pb::adopt( inStackOptions( stack ) ).get() );
    wake.wait( tool::later( tool::Clock::now(), 10 ) );
    inStackUpdateDelSignalable( stack, wake.signalable() );
}

/** The names of the objects of a sort. */
std::vector<std::string> namesOf( CS_CONFIG *config, const PB_SORT *sort )
{
    std::vector<std::string> names;
    tool::forEach<PB_STRING>( csConfigNames( config ), [&]( PB_STRING *name ) {
        if ( take( csConfigObjectSort( config, name ) ) == pbSortName( sort ) )
            names.push_back( pb::text( name ) );
    } );
    return names;
}

/** A word of a command line, as a shell takes it. */
std::string quoted( const std::string &word )
{
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./:@%+,-";
    if ( word.find_first_not_of( plain ) == word.npos )
        return word;
    std::string inner;
    for ( char ch : word )
        inner += ch == '\'' ? "'\\''" : std::string{ ch };
    return "'" + inner + "'";
}

void makeLive( CS_CONFIG *config, const std::string &file )
{
    pb::Ref<PB_STRING> error;
    if ( !csStoreTrySetConfig( config, error.handle() ) )
        tool::fail( "{}: {}", file, pb::text( error.get() ) );
}

} // namespace

void tool::StackChoice::addOptions( CLI::App &command, const char *nameOption )
{
    CLI::Option *config = addText( command, "--config", file, "FILE", "Use a stack of this configuration file" );
    addText( command, nameOption, name, "NAME", "Use the stack of this name, where the file has several" )
        ->needs( config );
    addText( command, "--interface", interface, "NAME", "Use a stack on this interface" )->excludes( config );
    addText( command, "--address", address, "ADDRESS", "Use a stack on this local address" )->excludes( config );
    command.add_flag( "--loopback", loopback, "Use a stack on a loopback address" )->excludes( config );
}

NamedStack tool::StackChoice::quick( IN_ADDRESS *optionalPeer ) const
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
    if ( !interface.empty() )
        inOptionsSetInterface( options.handle(), pb::string( interface ).get() );
    if ( !address.empty() )
        inOptionsSetAddress( options.handle(),
            parse( address, inAddressTryCreateFromString, "an IP address; give --address one like 192.0.2.1" ).get() );
    else if ( optionalPeer )
        inOptionsSetAddressVersion( options.handle(), inAddressVersion( optionalPeer ) );
    if ( loopback )
        inOptionsSetFlags( options.handle(), IN_FLAG_LOOPBACK_ONLY );
    NamedStack made{ "default", pb::adopt( inStackCreate( options.get(), nullptr ) ) };
    if ( !interface.empty() || !address.empty() || loopback )
        made.name = "chosen";
    settle( made.stack.get() );
    return made;
}

std::vector<NamedStack> tool::StackChoice::ofFile() const
{
    pb::Ref<CS_CONFIG> config = loadConfig( file );
    std::vector<std::string> names = namesOf( config.get(), inStackSort() );
    if ( names.empty() )
        fail( "{} has no object of sort IN_STACK", file );
    if ( !name.empty() && std::ranges::find( names, name ) == names.end() )
        fail( "{} has no stack '{}'; it has {}", file, name, fmt::join( names, ", " ) );
    makeLive( config.get(), file );
    std::vector<NamedStack> stacks;
    for ( const std::string &one : names ) {
        pb::Ref<PB_STRING> text = pb::string( one );
        if ( name.empty() || one == name )
            stacks.push_back(
                { one, pb::adoptAs<IN_STACK>( csStoreObject( text.get() ) ), ignored( config.get(), text.get() ) } );
    }
    for ( const NamedStack &stack : stacks )
        settle( stack.stack.get() );
    return stacks;
}

std::vector<NamedStack> tool::StackChoice::all() const
{
    if ( !file.empty() )
        return ofFile();
    return { quick( nullptr ) };
}

std::string tool::StackChoice::whyNoAddress( const NamedStack &stack ) const
{
    std::string options;
    if ( !file.empty() )
        options = fmt::format( " --config {} --name {}", quoted( file ), quoted( stack.name ) );
    if ( !interface.empty() )
        options += " --interface " + quoted( interface );
    if ( !address.empty() )
        options += " --address " + quoted( address );
    if ( loopback )
        options += " --loopback";
    return "quelvaris-in stack" + options;
}

NamedStack tool::StackChoice::only( IN_ADDRESS *optionalPeer ) const
{
    std::vector<NamedStack> stacks = file.empty() ? std::vector{ quick( optionalPeer ) } : ofFile();
    if ( stacks.size() > 1 ) {
        std::vector<std::string> names;
        for ( const NamedStack &stack : stacks )
            names.push_back( stack.name );
        refuse( "{} has several stacks, choose one with --stack: {}", file, fmt::join( names, ", " ) );
    }
    NamedStack &stack = stacks.front();
    pb::Ref<IN_ADDRESS> local = pb::adopt( inStackAddress( stack.stack.get() ) );
    if ( !local )
        fail( "the stack has no address; this tells why: {}", whyNoAddress( stack ) );
    if ( optionalPeer && inAddressVersion( local.get() ) != inAddressVersion( optionalPeer ) )
        fail( "the stack has the address {}, which is of another IP version than {}; choose another stack",
            take( inAddressToString( local.get() ) ), take( inAddressToString( optionalPeer ) ) );
    return std::move( stack );
}
