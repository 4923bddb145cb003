/*
 * What the tests of every library share: the balance of objects and descriptors, and small conveniences.
 */
#ifndef TEST_SUPPORT_H
#define TEST_SUPPORT_H

#include <functional>
#include <gtest/gtest.h>
#include <pb/pb.hpp>
#include <string>
#include <vector>

namespace test {

/** Descriptors that the process has open. */
int openDescriptors();

/** A string, and the text of one, which is released. */
inline pb::Ref<PB_STRING> str( std::string_view utf8 )
{
    return pb::string( utf8 );
}
inline std::string take( PB_STRING *owned )
{
    pb::Ref<PB_STRING> held = pb::adopt( owned );
    return held ? pb::text( held.get() ) : "(null)";
}
template <class T>
std::string textOf( T *object )
{
    return take( pbObjToString( pb::obj( object ) ) );
}

/** Started by main before the first test and stopped after the last: the modules that a test program needs. */
struct Fixture {
    std::function<void()> start;
    std::function<void()> stop;
};
/** Registers a fixture; call it through a namespace-scope variable. Fixtures start in the order of their priority. */
int addFixture( int priority, Fixture fixture );

/** Registers modules, in the order of their start: as the runtime does, both phases of stopping go in reverse. */
int addModules( std::vector<PB_MODULE *> modules );

} // namespace test

#endif
