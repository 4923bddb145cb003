/* The layout of a buffer, for the library's own files that fill one without a detour. */
#ifndef PB_BUFFER_PRIVATE_HPP
#define PB_BUFFER_PRIVATE_HPP

#include <pb/pb.hpp>

/**
 * `size` bytes of storage follow the object in the same allocation; `head` of them in front are free again. `capacity`
 * is what pbBufferSpace reports by; it is at most `size`.
 */
struct PB_BUFFER : PB_OBJ {
    PB_INT head;
    PB_INT length;
    PB_INT capacity;
    PB_INT size;

    PB_BYTE *storage() { return reinterpret_cast<PB_BYTE *>( this + 1 ); }
    PB_BYTE *bytes() { return storage() + head; }
};

#endif
