/* The body of the fuzz targets for classes with a text form. */
#ifndef FUZZ_TEXT_HPP
#define FUZZ_TEXT_HPP

#include <cstdint>
#include <pb/pb.hpp>

namespace fuzz {

template <class T>
int roundTrip( const uint8_t *data, size_t size, T *( *parse )(PB_STRING *), PB_STRING *( *print )(T *),
    PB_BOOL ( *equals )( T *, T * ) )
{
    pb::Ref<PB_STRING> text =
        pb::adopt( pbStringCreateFromCstr( reinterpret_cast<const char *>( data ), PB_INT( size ) ) );
    pb::Ref<T> object = pb::adopt( parse( text.get() ) );
    if ( !object )
        return 0;
    pb::Ref<PB_STRING> printed = pb::adopt( print( object.get() ) );
    pb::Ref<T> again = pb::adopt( parse( printed.get() ) );
    PB_ASSERT( again && equals( object.get(), again.get() ) );
    return 0;
}

} // namespace fuzz

#endif
