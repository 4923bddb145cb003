/*
 * For modules written in C++: what a class is made of (header, sort, the eight functions), references, descriptors and
 * locks that are let go at the end of a scope, and typed formatting. Macros only make names; templates do the work.
 */
#ifndef PB_HPP
#define PB_HPP

#include <atomic>
#include <cerrno>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <new>
#include <pb/pb.h>
#include <pb/pb_lock.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <unistd.h>
#include <utility>

/** The static descriptor of a class. Slots that a class does not need are null. */
struct PB_SORT {
    const char *name;
    void ( *freeFunc )( PB_OBJ *obj ); /* runs once, when the last reference is gone; not for the memory itself */
    PB_INT ( *compFunc )( PB_OBJ *thisObj, PB_OBJ *thatObj );
    PB_STRING *( *toStringFunc )( PB_OBJ *obj );
};

namespace pb {

/**
 * How many hold an object. The count belongs to the object and not to its value: a copy of the object begins at 1, and
 * making it does not read the count, which other threads may be changing.
 */
class RefCount {
public:
    constexpr RefCount() noexcept = default;
    constexpr RefCount( const RefCount & ) noexcept {}
    RefCount &operator=( const RefCount & ) noexcept { return *this; }

    void add() noexcept { count.fetch_add( 1, std::memory_order_relaxed ); }
    /** Whether that was the last. A sole holder needs no locked instruction: nobody else is there to change the count. */
    bool drop() noexcept
    {
        return count.load( std::memory_order_acquire ) == 1 || count.fetch_sub( 1, std::memory_order_acq_rel ) == 1;
    }
    int64_t value() const noexcept { return count.load( std::memory_order_acquire ); }

private:
    std::atomic<int64_t> count{ 1 };
};

} // namespace pb

/** The header that every object begins with. Classes derive from it and add their fields. */
struct PB_OBJ {
    const PB_SORT *sort = nullptr;
    pb::RefCount refs;
};

namespace pb {

/** Adds a reference. */
inline void retain( PB_OBJ *obj ) noexcept
{
    obj->refs.add();
}

/** Drops a reference; the last one frees the object. */
inline void release( PB_OBJ *obj ) noexcept
{
    if ( obj->refs.drop() )
        pb___ObjFree( obj );
}

/** Whether anybody else holds the object too. */
inline bool shared( const PB_OBJ *obj ) noexcept
{
    return obj->refs.value() > 1;
}

/** What a released member or global holds: not null, so that a use after release faults. */
template <class T>
T *released() noexcept
{
    return reinterpret_cast<T *>( UINTPTR_MAX );
}

/** The generic object; the class may be opaque here, since every object begins with its header. */
template <class T>
PB_OBJ *obj( T *object ) noexcept
{
    return reinterpret_cast<PB_OBJ *>( object );
}

/** Owns one reference to an object of class T, or none. Leaves all ones behind when it ends. */
template <class T>
class Ref {
public:
    Ref() noexcept = default;
    Ref( std::nullptr_t ) noexcept {}
    Ref( const Ref &other ) noexcept : object( other.object ) { add(); }
    Ref( Ref &&other ) noexcept : object( std::exchange( other.object, nullptr ) ) {}
    Ref &operator=( const Ref &other ) noexcept
    {
        Ref copy( other );
        std::swap( object, copy.object );
        return *this;
    }
    Ref &operator=( Ref &&other ) noexcept
    {
        Ref taken( std::move( other ) );
        std::swap( object, taken.object );
        return *this;
    }
    ~Ref()
    {
        drop();
        // volatile: the end of an object's lifetime must not make the store disappear
        *const_cast<T *volatile *>( &object ) = released<T>();
    }

    T *get() const noexcept { return object; }
    T *operator->() const noexcept { return object; }
    T &operator*() const noexcept { return *object; }
    explicit operator bool() const noexcept { return object != nullptr; }

    /** Hands the reference to the caller, who must release it. */
    [[nodiscard]] T *give() noexcept { return std::exchange( object, nullptr ); }
    /** A new reference for the caller, or null; this one stays. */
    [[nodiscard]] T *retained() const noexcept
    {
        add();
        return object;
    }
    /** The place of the reference, for setters and out arguments: they may replace what it holds. */
    T **handle() noexcept { return &object; }

private:
    template <class U>
    friend Ref<U> adopt( U *object ) noexcept;

    void add() const noexcept
    {
        if ( object )
            retain( obj( object ) );
    }
    void drop() noexcept
    {
        if ( object )
            release( obj( object ) );
    }
    T *object = nullptr;
};

/** Takes over a reference that was returned; null stays null. */
template <class T>
[[nodiscard]] Ref<T> adopt( T *object ) noexcept
{
    Ref<T> ref;
    ref.object = object;
    return ref;
}

/** Adds a reference to what was lent; null stays null. */
template <class T>
[[nodiscard]] Ref<T> share( T *object ) noexcept
{
    if ( object )
        retain( obj( object ) );
    return adopt( object );
}

/** Takes over a generic reference as class T; aborts when it is of another sort. */
template <class T>
[[nodiscard]] Ref<T> adoptAs( PB_OBJ *object ) noexcept
{
    PB_ASSERT( !object || pbObjSort( object ) == Class<T>::sort() );
    return adopt( reinterpret_cast<T *>( object ) );
}

/** Ends the process for a use of the library before the runtime was started, or after it was stopped. */
[[noreturn]] inline void abortNotRunning( bool wasStopped )
{
    pb___Abort(
        wasStopped ? "the runtime has been stopped" : "the runtime has not been started", __FILE__, __LINE__, nullptr );
}

/**
 * A module-global reference: set at start-up, dropped at shut-down, when it becomes all ones. A use before and after that
 * aborts. No destructor runs at the end of the process, so that a thread that still runs then finds it whole.
 */
template <class T>
class Global {
public:
    constexpr Global() noexcept = default;
    Global( const Global & ) = delete;
    Global &operator=( const Global & ) = delete;

    /** Takes over a returned reference. */
    void set( T *adopted ) noexcept { object = adopted; }
    void drop() noexcept
    {
        if ( T *held = optional() )
            release( obj( held ) );
        object = released<T>();
    }
    /** Lends the object; aborts when there is none. */
    T *get() const
    {
        if ( !optional() ) [[unlikely]]
            abortNotRunning( object );
        return object;
    }
    /** Lends the object, or null before start-up and after shut-down, and when null was set. */
    T *optional() const noexcept { return object == released<T>() ? nullptr : object; }
    /** The place of the reference, as of a plain pointer, for setters. */
    T **operator&() noexcept { return &object; }

private:
    T *object = nullptr;
};

/** The same for a module's state that is no object: made at start-up and freed at shut-down. */
template <class T>
class GlobalState {
public:
    constexpr GlobalState() noexcept = default;
    GlobalState( const GlobalState & ) = delete;
    GlobalState &operator=( const GlobalState & ) = delete;

    template <class... Arguments>
    void start( Arguments &&...arguments )
    {
        state = new T( std::forward<Arguments>( arguments )... );
    }
    void stop() { delete std::exchange( state, released<T>() ); }
    /** Aborts when there is none. */
    T *operator->() const { return &**this; }
    T &operator*() const
    {
        if ( !state || state == released<T>() ) [[unlikely]]
            abortNotRunning( state );
        return *state;
    }

private:
    T *state = nullptr;
};

/** A new object with one reference; `arguments` are its fields in order, all or none, or go to its constructor. */
template <class T, class... Arguments>
[[nodiscard]] T *create( Arguments &&...arguments )
{
    static_assert( std::is_base_of_v<PB_OBJ, T> && alignof( T ) <= alignof( std::max_align_t ) );
    const PB_SORT *sort = Class<T>::sort();
    void *memory = pb___ObjCreate( sizeof( T ), sort );
    T *object;
    if constexpr ( sizeof...( Arguments ) > 0 && std::is_aggregate_v<T> )
        object = ::new ( memory ) T{ {}, std::forward<Arguments>( arguments )... };
    else
        object = ::new ( memory ) T( std::forward<Arguments>( arguments )... );
    object->sort = sort; // constructing set the header anew
    return object;
}

/** A new object, equal to `source`, with one reference: what the CreateFrom function of a value class returns. */
template <class T>
[[nodiscard]] T *copy( const T &source )
{
    return ::new ( static_cast<void *>( pb___ObjCreate( sizeof( T ), source.sort ) ) ) T( source );
}

/** The free function of a class whose members look after themselves: its destructor. */
template <class T>
void destroy( PB_OBJ *obj ) noexcept
{
    static_cast<T *>( obj )->~T();
}

/** The eight functions of a class; PB_CLASS_DEFINE gives them their names. */
template <class T>
struct ClassFunctions {
    static T *from( PB_OBJ *obj, const PB_SORT *sort, const char *path, int line, const char *expression )
    {
        if ( obj && obj->sort != sort )
            pb___Abort( "stdfunc from", path, line, expression );
        return static_cast<T *>( obj );
    }
    static T *retain( T *obj, const char *path, int line )
    {
        if ( !obj )
            pb___Abort( "stdfunc retain", path, line, "obj" );
        pb::retain( obj );
        return obj;
    }
    static void release( T *obj, const char *path, int line )
    {
        if ( !obj )
            pb___Abort( "stdfunc release", path, line, "obj" );
        pb::release( obj );
    }
    static PB_STRING *toString( T *obj, const char *path, int line )
    {
        if ( !obj )
            pb___Abort( "stdfunc tostring", path, line, "obj" );
        return pbObjToString( obj );
    }
    static PB_INT compare( T *objA, T *objB, const char *path, int line )
    {
        if ( !objA )
            pb___Abort( "stdfunc compare a", path, line, "objA" );
        if ( !objB )
            pb___Abort( "stdfunc compare b", path, line, "objB" );
        return pbObjCompare( objA, objB );
    }
};

/**
 * The only cloning code there is: makes *handle the caller's own before a setter writes to it. An object that somebody
 * else holds too is replaced by a copy. Call it through PB_UNSHARE, which checks the handle.
 */
template <class T>
T &unshare( T **handle, T *( *createFrom )( T *source ) )
{
    if ( shared( *handle ) )
        release( std::exchange( *handle, createFrom( *handle ) ) );
    return **handle;
}

/** Orders two optional objects: an absent one first. */
inline PB_INT compareOptional( PB_OBJ *objA, PB_OBJ *objB )
{
    return objA && objB ? pbObjCompare( objA, objB ) : PB_INT( objA != nullptr ) - PB_INT( objB != nullptr );
}

/** -1, 0 or 1, for compare functions. */
template <class T>
PB_INT order( const T &a, const T &b )
{
    return a < b ? -1 : b < a ? 1 : 0;
}

/** A code point for `%c` of pb::format. */
struct Char {
    PB_CHAR value;
};

inline PB_BOOL formatArgument( bool value )
{
    return value;
}
inline PB_CHAR formatArgument( Char value )
{
    return value.value;
}
template <std::integral T>
PB_INT formatArgument( T value )
{
    return static_cast<PB_INT>( value );
}
template <class T>
T *formatArgument( T *object )
{
    return object;
}
template <class T>
T *formatArgument( const Ref<T> &ref )
{
    return ref.get();
}

/** pbStringCreateFromFormatCstr with arguments of any integer type, references lent or, after `%~`, consumed. */
template <class... Arguments>
[[nodiscard]] Ref<PB_STRING> format( const char *text, const Arguments &...arguments )
{
    return adopt( pbStringCreateFromFormatCstr( text, -1, formatArgument( arguments )... ) );
}

/** The text of a ...Cstr function: its length follows it, -1 when it ends with a zero. */
inline std::string_view view( const char *cstr, PB_INT length )
{
    return length < 0 ? std::string_view( cstr ) : std::string_view( cstr, static_cast<std::size_t>( length ) );
}

/** A string as UTF-8, for the C++ library, and back. */
inline std::string text( PB_STRING *str )
{
    Ref<PB_BUFFER> utf8 = adopt( pbStringToUtf8( str ) );
    return { reinterpret_cast<const char *>( pbBufferBacking( utf8.get() ) ),
        static_cast<std::size_t>( pbBufferLength( utf8.get() ) ) };
}
inline Ref<PB_STRING> string( std::string_view utf8 )
{
    return adopt( pbStringCreateFromCstr( utf8.data(), static_cast<PB_INT>( utf8.size() ) ) );
}

/** Owns a file descriptor, or none (-1). */
class Fd {
public:
    Fd() noexcept = default;
    explicit Fd( int owned ) noexcept : descriptor( owned ) {}
    Fd( Fd &&other ) noexcept : descriptor( std::exchange( other.descriptor, -1 ) ) {}
    Fd &operator=( Fd &&other ) noexcept
    {
        std::swap( descriptor, other.descriptor );
        return *this;
    }
    ~Fd() { close(); }

    int get() const noexcept { return descriptor; }
    explicit operator bool() const noexcept { return descriptor >= 0; }
    [[nodiscard]] int give() noexcept { return std::exchange( descriptor, -1 ); }
    /** Closes now; errno is left as it was, so that the failure that led here can still be told. */
    void close() noexcept
    {
        if ( descriptor < 0 )
            return;
        int reason = errno;
        ::close( std::exchange( descriptor, -1 ) );
        errno = reason;
    }

private:
    int descriptor = -1;
};

} // namespace pb

/** What starts and stops a module; a static object, see PB_MODULE_DEFINE. */
struct PB_MODULE : PB_OBJ {
    PB_MODULE_STARTUP_FUNC *startup;
    void *reserved;
    PB_MODULE_SHUTDOWN_FUNC *shutdown;
    PB_MODULE_SHUTDOWN_FUNC *shutdownWait;
    const PB_MODULE_RECORD *record;
};

#define PB___CONCAT2( a, b, c ) a##b##c
#define PB___CONCAT( a, b, c ) PB___CONCAT2( a, b, c )
#define PB___TEXT2( text ) #text
#define PB___TEXT( text ) PB___TEXT2( text )

/** The name of a class's sort: in___sort_IN_ADDRESS. The build defines PB_MODULE_NAME as the module's name. */
#define PB_SORT_NAME( NAME ) PB___CONCAT( PB_MODULE_NAME, ___sort_, NAME )

/** Defines the sort and the eight functions of a class; the slots may be nullptr. */
#define PB_CLASS_DEFINE( NAME, prefix, freeFunc, compFunc, toStringFunc )                      \
    static_assert( std::is_base_of_v<PB_OBJ, NAME> );                                          \
    extern "C" const PB_SORT PB_SORT_NAME( NAME );                                             \
    const PB_SORT PB_SORT_NAME( NAME ) = { #NAME, freeFunc, compFunc, toStringFunc };          \
    const PB_SORT *prefix##Sort( void )                                                        \
    {                                                                                          \
        return &PB_SORT_NAME( NAME );                                                          \
    }                                                                                          \
    PB_OBJ *prefix##Obj( NAME *obj )                                                           \
    {                                                                                          \
        return obj;                                                                            \
    }                                                                                          \
    NAME *prefix##From( PB_OBJ *obj )                                                          \
    {                                                                                          \
        return pb::ClassFunctions<NAME>::from( obj, &PB_SORT_NAME( NAME ), __FILE__, __LINE__, \
            "!obj || pbObjSort(obj)==&" PB___TEXT( PB_SORT_NAME( NAME ) ) );                   \
    }                                                                                          \
    NAME *prefix##Retain( NAME *obj )                                                          \
    {                                                                                          \
        return pb::ClassFunctions<NAME>::retain( obj, __FILE__, __LINE__ );                    \
    }                                                                                          \
    void prefix##Release( NAME *obj )                                                          \
    {                                                                                          \
        pb::ClassFunctions<NAME>::release( obj, __FILE__, __LINE__ );                          \
    }                                                                                          \
    PB_STRING *prefix##ToString( NAME *obj )                                                   \
    {                                                                                          \
        return pb::ClassFunctions<NAME>::toString( obj, __FILE__, __LINE__ );                  \
    }                                                                                          \
    PB_INT prefix##Compare( NAME *objA, NAME *objB )                                           \
    {                                                                                          \
        return pb::ClassFunctions<NAME>::compare( objA, objB, __FILE__, __LINE__ );            \
    }                                                                                          \
    PB_BOOL prefix##Equals( NAME *objA, NAME *objB )                                           \
    {                                                                                          \
        return pbObjCompare( objA, objB ) == 0;                                                \
    }                                                                                          \
    static_assert( true )

/** Makes *handle unshared and gives its object: the third step of every setter. `handle` names the parameter. */
#define PB_UNSHARE( handle, createFrom )                      \
    ( *( handle ) ? pb::unshare( ( handle ), ( createFrom ) ) \
                  : ( pb___Abort( nullptr, __FILE__, __LINE__, "((*" #handle "))" ), **( handle ) ) )

#endif
