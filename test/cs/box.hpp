/*
 * A configurable sort for the tests: a box has a size, 1 unless its configuration says otherwise, and tells it as its
 * status. A box of size 0 or less cannot be created: it tells why for 0, its check does
 * for -1. Hooks run inside the backend's functions and when a box is freed.
 */
#ifndef TEST_CS_BOX_HPP
#define TEST_CS_BOX_HPP

#include <cs/cs_private.h>
#include <support/test_support.h>
#include <tr/tr_private.h>

namespace test {

struct Hooks {
    std::function<void()> create, set, free;
    std::atomic<int> linked{ 0 };
};
inline Hooks hooks;

struct Box : PB_OBJ {
    pb::Monitor monitor;
    PB_INT size PB_GUARDED_BY( monitor ) = 1;
    pb::Ref<CS_STATUS_REPORTER> reporter = pb::adopt( csStatusReporterCreate() );

    void setSize( PB_INT newSize )
    {
        pb::Lock lock( monitor );
        size = newSize;
        csStatusReporterSetItemCstr( reporter.get(), "size", -1, pb::format( "%i", newSize ).get() );
        csStatusReporterSetUp( reporter.get(), newSize > 1 );
    }
    PB_INT getSize()
    {
        pb::Lock lock( monitor );
        return size;
    }
};
inline void freeBox( PB_OBJ *obj )
{
    if ( hooks.free )
        hooks.free();
    pb::destroy<Box>( obj );
}
inline const PB_SORT boxSort = { "TEST_BOX", freeBox, nullptr, nullptr };

/** The same under another name. */
struct Crate : Box {};
inline const PB_SORT crateSort = { "TEST_CRATE", freeBox, nullptr, nullptr };

using Config = pb::Ref<CS_CONFIG>;
using Store = pb::Ref<PB_STORE>;

} // namespace test

template <>
struct pb::Class<test::Box> {
    static const PB_SORT *sort() { return &test::boxSort; }
};
template <>
struct pb::Class<test::Crate> {
    static const PB_SORT *sort() { return &test::crateSort; }
};

namespace test {

inline PB_INT sizeIn( PB_STORE *optionalConfig )
{
    PB_INT size = 1;
    if ( optionalConfig )
        pbStoreValueIntCstr( optionalConfig, &size, "size", -1 );
    return size;
}
inline PB_STORE *sizeStore( PB_INT size, PB_BOOL full )
{
    Store config = pb::adopt( pbStoreCreate() );
    if ( full || size != 1 )
        pbStoreSetValueIntCstr( config.handle(), "size", -1, size );
    return config.give();
}
template <class T>
PB_OBJ *createBox( PB_STORE *optionalConfig, TR_ANCHOR * )
{
    if ( hooks.create )
        hooks.create();
    if ( sizeIn( optionalConfig ) == 0 )
        csSortTellReason( str( "nothing fits in" ).get() );
    if ( sizeIn( optionalConfig ) <= 0 )
        return nullptr;
    T *box = pb::create<T>();
    box->setSize( sizeIn( optionalConfig ) );
    return box;
}
inline PB_STORE *boxConfig( PB_OBJ *obj, PB_BOOL full )
{
    return sizeStore( static_cast<Box *>( obj )->getSize(), full );
}
inline void setBoxConfig( PB_OBJ *obj, PB_STORE *config )
{
    if ( hooks.set )
        hooks.set();
    static_cast<Box *>( obj )->setSize( sizeIn( config ) );
}
inline PB_STORE *normalizeBox( PB_STORE *config, PB_BOOL full )
{
    return sizeStore( sizeIn( config ), full );
}
inline CS_STATUS_REPORTER *boxStatus( PB_OBJ *obj )
{
    return static_cast<Box *>( obj )->reporter.retained();
}
inline void linkBox( PB_OBJ *, TR_ANCHOR * )
{
    ++hooks.linked;
}
inline PB_STORE *checkBox( PB_STORE *config, CS_CONFIG * )
{
    PB_STORE *report = pbStoreCreate();
    if ( sizeIn( config ) == -1 )
        pbStoreSetValueCstr( &report, "size", -1, str( "out of range" ).get() );
    return report;
}
template <class T = Box>
pb::Ref<CS_SORT_BACKEND> boxBackend()
{
    pb::Ref<CS_SORT_BACKEND> backend = pb::adopt( csSortBackendCreate(
        pb::Class<T>::sort(), createBox<T>, boxConfig, setBoxConfig, normalizeBox, boxStatus, linkBox ) );
    csSortBackendSetCheckFunc( backend.get(), checkBox );
    return backend;
}

inline Config config( std::string_view json )
{
    pb::Ref<PB_STRING> error;
    Config decoded = pb::adopt( csConfigTryDecode( buffer( json ).get(), error.handle() ) );
    EXPECT_TRUE( decoded ) << pb::text( error.get() );
    return decoded;
}
inline std::string encoded( CS_CONFIG *config )
{
    return takeBytes( csConfigEncode( config ) );
}
/** The objects of a configuration: "name SORT {...}", joined by semicolons. */
inline std::string objects( CS_CONFIG *config )
{
    std::string text;
    for ( auto &name : takeAll<PB_STRING>( csConfigNames( config ) ) ) {
        Store stored = pb::adopt( csConfigObjectConfig( config, name.get() ) );
        text += ( text.empty() ? "" : "; " ) + pb::text( name.get() ) + " " +
                take( csConfigObjectSort( config, name.get() ) ) + " " + ( stored ? textOf( stored.get() ) : "-" );
    }
    return text;
}

/** Changes of the live store in a few words; the error text of the whole, "" for none. */
inline std::string setConfigError( std::string_view json )
{
    pb::Ref<PB_STRING> error;
    bool set = csStoreTrySetConfig( config( json ).get(), error.handle() );
    EXPECT_EQ( set, !error );
    return error ? pb::text( error.get() ) : "";
}
inline bool setConfig( std::string_view json )
{
    return setConfigError( json ).empty();
}
inline bool setBox( std::string_view name, PB_INT size, std::string_view sort = "TEST_BOX" )
{
    Store stored = pb::adopt( sizeStore( size, true ) );
    return csStoreTrySetObject( str( name ).get(), str( sort ).get(), stored.get() );
}
inline pb::Ref<PB_OBJ> live( std::string_view name )
{
    return pb::adopt( csStoreObject( str( name ).get() ) );
}
/** The size of a live box, -1 when there is none. */
inline PB_INT liveSize( std::string_view name )
{
    pb::Ref<PB_OBJ> object = live( name );
    return object ? static_cast<Box *>( object.get() )->getSize() : -1;
}

/** Tests of the live store leave it as they found it, empty. */
class StoreTest : public testing::Test {
protected:
    void TearDown() override
    {
        hooks.create = hooks.set = hooks.free = nullptr;
        pb::Ref<PB_STRING> error;
        EXPECT_TRUE( csStoreTrySetConfig( pb::adopt( csConfigCreate() ).get(), error.handle() ) );
    }
};

} // namespace test

#endif
