/*
 * Bytes with a capacity, copy-on-write. Setters take PB_BUFFER **: they abort on a null handle or buffer and replace *buf
 * by a copy first when it is shared. Appending past the capacity grows it. Out-of-range offsets and counts abort.
 */
#ifndef PB_BUFFER_H
#define PB_BUFFER_H

#include <pb/pb_obj.h>

PB_CLASS( PB_BUFFER, pbBuffer ) /* order: bytewise unsigned, a prefix first; text form: hexadecimal digits */
/* Names: pbBufferSort, pbBufferObj, pbBufferFrom, pbBufferRetain, pbBufferRelease, pbBufferToString, pbBufferCompare,
   pbBufferEquals */

PB_API PB_BUFFER *pbBufferCreate( void );
/** A new empty buffer with room for `capacity` bytes. */
PB_API PB_BUFFER *pbBufferCreateWithCapacity( PB_INT capacity );
PB_API PB_BUFFER *pbBufferCreateFromBytesCopy( const void *bytes, PB_INT count );
PB_API PB_BUFFER *pbBufferCreateFrom( PB_BUFFER *source );

PB_API PB_INT pbBufferLength( PB_BUFFER *buf );
/** How many bytes can be appended without growing. */
PB_API PB_INT pbBufferSpace( PB_BUFFER *buf );
/** The bytes, read only, valid while the buffer is neither changed nor freed. */
PB_API const PB_BYTE *pbBufferBacking( PB_BUFFER *buf );
PB_API PB_BYTE pbBufferByteAt( PB_BUFFER *buf, PB_INT index );

PB_API void pbBufferReserve( PB_BUFFER **buf, PB_INT space );
PB_API void pbBufferSetByteAt( PB_BUFFER **buf, PB_INT index, PB_BYTE byte );
PB_API void pbBufferAppendByte( PB_BUFFER **buf, PB_BYTE byte );
PB_API void pbBufferAppendBytes( PB_BUFFER **buf, const void *bytes, PB_INT count );
/** Appends another buffer or a part of it; `source` may be the same object. Outer is the source less the given part. */
PB_API void pbBufferAppend( PB_BUFFER **buf, PB_BUFFER *source );
PB_API void pbBufferAppendInner( PB_BUFFER **buf, PB_BUFFER *source, PB_INT byteOffset, PB_INT byteCount );
PB_API void pbBufferAppendOuter( PB_BUFFER **buf, PB_BUFFER *source, PB_INT byteOffset, PB_INT byteCount );
/**
 * A place for `count` bytes behind the end, made when there is none. The caller writes bytes there and appends them
 * with pbBufferExtend. Valid until another function changes the buffer.
 */
PB_API PB_BYTE *pbBufferRoom( PB_BUFFER **buf, PB_INT count );
/** Appends the first `count` bytes of the room. Aborts when there is not that much room, or somebody else holds the buffer. */
PB_API void pbBufferExtend( PB_BUFFER *buf, PB_INT count );
/** Removes bytes from the beginning; costs no more than what is removed, over many calls. */
PB_API void pbBufferDelLeading( PB_BUFFER **buf, PB_INT byteCount );
PB_API void pbBufferDelTrailing( PB_BUFFER **buf, PB_INT byteCount );
/** Empties the buffer; the capacity stays. */
PB_API void pbBufferClear( PB_BUFFER **buf );

/** The buffer as bits, most significant bit of byte 0 first. */
PB_API PB_INT pbBufferBitLength( PB_BUFFER *buf );
/** Sets `bitCount` bits from `bitOffset` on to 0. */
PB_API void pbBufferClearBits( PB_BUFFER **buf, PB_INT bitOffset, PB_INT bitCount );

#endif
