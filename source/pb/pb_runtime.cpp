/*
 * The runtime: finds module libraries, checks what they say of themselves, starts and stops them.
 *
 * Two locks. `turn` is held by the one thread that starts or stops modules, for the whole call, the modules' own
 * functions included; so a module that calls back into start or stop aborts as a monitor's second entry. `monitor`
 * guards the lists and is held for moments only, never while code of a module runs: a module may ask which modules run.
 * Order: turn, then monitor. `running` changes only while both are held.
 *
 * Libraries are opened with RTLD_NOW, so that a missing symbol is told here and does not end the process later, and
 * with RTLD_LOCAL: a module is linked with the libraries that it uses, and what it exports must not take the place of
 * anybody else's symbol. They are never closed again, fit or not: threads, sorts and other static objects of theirs may
 * be in use to the end.
 */
#include <algorithm>
#include <clocale>
#include <dlfcn.h>
#include <pb/pb_module.hpp>
#include <vector>

namespace {

struct Runtime {
    pb::Monitor turn{ pb::Rank::runtimeTurn };
    pb::Monitor monitor{ pb::Rank::leaf };
    std::vector<std::string> folders PB_GUARDED_BY( monitor );                  // the first to look into is the last
    std::vector<PB_MODULE *> running PB_GUARDED_BY( monitor ) = { pbModule() }; // in order of start, "pb" always
    std::string error PB_GUARDED_BY( monitor );
};

/** Never destroyed, so that a thread that still runs at the end of the process finds it whole. */
Runtime &theRuntime()
{
    static Runtime &runtime = *new Runtime;
    return runtime;
}

/** Texts of the C library are the same in every locale while this lives, on this thread. */
class PlainTexts {
public:
    PlainTexts() : plain( newlocale( LC_ALL_MASK, "C", nullptr ) ), before( uselocale( plain ) ) {}
    ~PlainTexts()
    {
        uselocale( before );
        freelocale( plain );
    }
    PlainTexts( const PlainTexts & ) = delete;
    PlainTexts &operator=( const PlainTexts & ) = delete;

private:
    locale_t plain; // the C locale: needs no memory
    locale_t before;
};

/** A module whose library was opened. */
struct Found {
    std::string name;
    std::string library;
    PB_MODULE *module = nullptr;
};

/** Plain words only: a name becomes part of a path and of symbol names. */
bool isModuleName( std::string_view name )
{
    return !name.empty() && name.find_first_not_of( "abcdefghijklmnopqrstuvwxyz0123456789_" ) == name.npos;
}

std::vector<std::string> words( std::string_view text )
{
    std::vector<std::string> all;
    std::size_t end = 0;
    for ( std::size_t begin; ( begin = text.find_first_not_of( ' ', end ) ) != text.npos; ) {
        end = std::min( text.find( ' ', begin ), text.size() );
        all.emplace_back( text.substr( begin, end - begin ) );
    }
    return all;
}

/** An error text is one line, whatever stands in a record or a name. */
std::string oneLine( std::string text )
{
    std::replace_if(
        text.begin(), text.end(), []( char ch ) { return ( ch >= 0 && ch < ' ' ) || ch == 0x7F; }, ' ' );
    return text;
}

/** The folder of the library (or, linked statically, of the program) that this code is in; empty when it is unknown. */
std::string ownFolder()
{
    Dl_info info;
    if ( !dladdr( pbModule(), &info ) || !info.dli_fname )
        return {};
    std::string file = info.dli_fname;
    return file.find( '/' ) == file.npos ? std::string() : file.substr( 0, file.rfind( '/' ) + 1 );
}

/** Folders to look into, each with a slash at its end, in their order. */
std::vector<std::string> searchFolders( Runtime &runtime )
{
    std::vector<std::string> folders = { ownFolder() }; // outside: the loader's lock is held while constructors run
    pb::Lock lock( runtime.monitor );
    folders.insert( folders.begin(), runtime.folders.rbegin(), runtime.folders.rend() );
    return folders;
}

/** The path of a library where it is found first, else its bare name, which lets the system look for it. */
std::string findLibrary( Runtime &runtime, const std::string &name )
{
    std::string file = "libquelvaris-" + name + ".so";
    for ( const std::string &folder : searchFolders( runtime ) )
        if ( !folder.empty() && access( ( folder + file ).c_str(), F_OK ) == 0 )
            return folder + file;
    return file;
}

template <class T>
T *exported( void *library, const std::string &symbol )
{
    return static_cast<T *>( dlsym( library, symbol.c_str() ) );
}

/** Why a record cannot serve for the module of that name; empty when it can. The layout says where the rest stands. */
std::string whyRecordUnfit( const PB_MODULE_RECORD *record, const std::string &name )
{
    if ( !record )
        return "it has no module record";
    if ( record->layout != PB_MODULE_RECORD_LAYOUT )
        return "its record has layout " + std::to_string( record->layout ) + " instead of " +
               std::to_string( PB_MODULE_RECORD_LAYOUT );
    if ( !record->product || !record->name || !record->version || !record->required )
        return "its record lacks a text";
    if ( record->product != std::string_view( PB_MODULE_PRODUCT ) )
        return "it is of product \"" + std::string( record->product ) + "\"";
    if ( record->name != name )
        return "its record is that of module \"" + std::string( record->name ) + "\"";
    if ( !pb::adopt( pbModuleVersionTryCreateFromCstr( record->version, -1 ) ) )
        return "its version \"" + std::string( record->version ) + "\" is none";
    return {};
}

/** The same for a descriptor. A wrong sort comes of a second copy of the base library in the process. */
std::string whyDescriptorUnfit( const PB_MODULE *module, const PB_MODULE_RECORD *record )
{
    if ( !module )
        return "it has no module descriptor";
    if ( module->sort != pbModuleSort() )
        return "its descriptor is none of this base library";
    if ( module->record != record )
        return "its descriptor belongs to another record";
    return {};
}

/** One call of pbRuntimeTryStart: first all that is needed is collected and checked, then it is started. */
class Starting {
public:
    explicit Starting( Runtime &inRuntime ) : runtime( inRuntime ) {}

    bool collect( const std::string &name );
    bool start();
    std::string error;

private:
    bool isRunning( const std::string &name );
    bool isCollected( const std::string &name ) const;
    bool open( Found &found );
    bool collectRequired( const Found &found );
    bool fail( const Found &found, const std::string &reason );
    std::string chainText() const;

    Runtime &runtime;
    std::vector<std::string> chain; // from the module that was asked for to the one that is being looked at
    std::vector<Found> collected;   // fit, what is required first
};

/** Stops what was started from that place on, in reverse order: phase one of each, then phase two of each. */
void stopFrom( Runtime &runtime, std::size_t first ) PB_REQUIRES( runtime.turn )
{
    std::vector<PB_MODULE *> stopping;
    {
        pb::Lock lock( runtime.monitor );
        stopping.assign( runtime.running.rbegin(), runtime.running.rend() - static_cast<std::ptrdiff_t>( first ) );
    }
    for ( PB_MODULE *module : stopping )
        if ( module->shutdown )
            module->shutdown();
    for ( PB_MODULE *module : stopping ) {
        if ( module->shutdownWait )
            module->shutdownWait();
        pb::Lock lock( runtime.monitor );
        runtime.running.pop_back();
    }
}

std::size_t runningCount( Runtime &runtime )
{
    pb::Lock lock( runtime.monitor );
    return runtime.running.size();
}

bool Starting::fail( const Found &found, const std::string &reason )
{
    error = "module \"" + found.name + "\"";
    if ( !found.library.empty() )
        error += " (" + found.library + ")";
    if ( chain.size() > 1 )
        error += ", required by \"" + chain[chain.size() - 2] + "\"";
    error = oneLine( error + ": " + reason );
    return false;
}

std::string Starting::chainText() const
{
    std::string text = chain.front();
    for ( std::size_t index = 1; index < chain.size(); ++index )
        text += " -> " + chain[index];
    return text;
}

bool Starting::isRunning( const std::string &name )
{
    pb::Lock lock( runtime.monitor );
    return std::any_of( runtime.running.begin(), runtime.running.end(),
        [&]( const PB_MODULE *module ) { return module->record->name == name; } );
}

bool Starting::isCollected( const std::string &name ) const
{
    return std::any_of( collected.begin(), collected.end(), [&]( const Found &found ) { return found.name == name; } );
}

/** Opens the library of the module and checks what it says of itself. */
bool Starting::open( Found &found )
{
    found.library = findLibrary( runtime, found.name );
    void *library = dlopen( found.library.c_str(), RTLD_NOW | RTLD_LOCAL );
    if ( !library ) {
        PlainTexts texts; // dlerror makes the text
        return fail( found, dlerror() );
    }
    auto *record = exported<const PB_MODULE_RECORD>( library, found.name + "___module_record" );
    found.module = exported<PB_MODULE>( library, found.name + "___module" );
    std::string reason = whyRecordUnfit( record, found.name );
    if ( reason.empty() )
        reason = whyDescriptorUnfit( found.module, record );
    return reason.empty() || fail( found, reason );
}

bool Starting::collectRequired( const Found &found )
{
    for ( const std::string &name : words( found.module->record->required ) )
        if ( !collect( name ) )
            return false;
    return true;
}

/** Collects a module after what it requires. `chain` is left as it is on failure, when the call is over. */
bool Starting::collect( const std::string &name )
{
    if ( isRunning( name ) || isCollected( name ) )
        return true;
    bool circle = std::find( chain.begin(), chain.end(), name ) != chain.end();
    chain.push_back( name );
    Found found{ name, {}, nullptr };
    if ( circle )
        return fail( found, "it requires itself: " + chainText() );
    if ( !isModuleName( name ) )
        return fail( found, "the name is not made of lower-case letters, digits and underscores" );
    if ( !open( found ) || !collectRequired( found ) )
        return false;
    chain.pop_back();
    collected.push_back( std::move( found ) );
    return true;
}

bool Starting::start()
{
    for ( const Found &found : collected ) {
        if ( found.module->startup && !found.module->startup() )
            return fail( found, "its start-up failed" );
        pb::Lock lock( runtime.monitor );
        runtime.running.push_back( found.module );
    }
    return true;
}

} // namespace

PB_BOOL pbRuntimeTryStart( const char *name, PB_INT length )
{
    PB_ASSERT( name );
    PB_ASSERT( length >= -1 );
    Runtime &runtime = theRuntime();
    pb::Lock turn( runtime.turn );
    Starting starting( runtime );
    std::size_t runningBefore = runningCount( runtime );
    bool started = starting.collect( std::string( pb::view( name, length ) ) ) && starting.start();
    if ( !started )
        stopFrom( runtime, runningBefore );
    pb::Lock lock( runtime.monitor );
    runtime.error = starting.error;
    return started;
}

PB_STRING *pbRuntimeErrorText( void )
{
    Runtime &runtime = theRuntime();
    pb::Lock lock( runtime.monitor );
    return runtime.error.empty() ? nullptr : pb::string( runtime.error ).give();
}

void pbRuntimeStop( void )
{
    Runtime &runtime = theRuntime();
    pb::Lock turn( runtime.turn );
    stopFrom( runtime, 1 ); // this library stays
}

PB_VECTOR *pbRuntimeModulesVector( void )
{
    Runtime &runtime = theRuntime();
    pb::Ref<PB_VECTOR> modules = pb::adopt( pbVectorCreate() );
    pb::Lock lock( runtime.monitor );
    for ( PB_MODULE *module : runtime.running )
        pbVectorAppend( modules.handle(), module );
    return modules.give();
}

void pbRuntimeAddModulePathCstr( const char *path, PB_INT length )
{
    PB_ASSERT( path );
    PB_ASSERT( length >= -1 );
    std::string folder( pb::view( path, length ) );
    if ( folder.empty() )
        return;
    Runtime &runtime = theRuntime();
    pb::Lock lock( runtime.monitor );
    runtime.folders.push_back( folder + "/" );
}
