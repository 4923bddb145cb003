/*
 * One bounds-checked cursor over the bytes of a buffer: what reads wire formats. Not shared between threads. A read that
 * asks for more bytes than remain gives false and moves nothing. Multi-byte integers are big-endian (network order).
 */
#ifndef PB_DECODER_H
#define PB_DECODER_H

#include <pb/pb_buffer.h>

PB_CLASS( PB_DECODER, pbDecoder )
/* Names: pbDecoderSort, pbDecoderObj, pbDecoderFrom, pbDecoderRetain, pbDecoderRelease, pbDecoderToString,
   pbDecoderCompare, pbDecoderEquals */

/** A decoder at the beginning of `buf`, which it retains. */
PB_API PB_DECODER *pbDecoderCreate( PB_BUFFER *buf );
PB_API PB_INT pbDecoderOffset( PB_DECODER *dec );
PB_API PB_INT pbDecoderRemaining( PB_DECODER *dec );
PB_API PB_BOOL pbDecoderTryReadByte( PB_DECODER *dec, PB_BYTE *byte );
PB_API PB_BOOL pbDecoderTryReadBytes( PB_DECODER *dec, PB_BYTE *bytes, PB_INT count );
PB_API PB_BOOL pbDecoderTryReadInt16( PB_DECODER *dec, PB_INT *value );
PB_API PB_BOOL pbDecoderTryReadInt32( PB_DECODER *dec, PB_INT *value );
/** Replaces *buf (null or an owned buffer) by a new buffer with the next `count` bytes. */
PB_API PB_BOOL pbDecoderTryRead( PB_DECODER *dec, PB_BUFFER **buf, PB_INT count );
PB_API PB_BOOL pbDecoderTrySkip( PB_DECODER *dec, PB_INT count );

#endif
