/* Files, line sources and byte sinks. Every descriptor is close-on-exec. */
#ifndef PB_FILE_H
#define PB_FILE_H

#include <pb/pb_string.h>

/**
 * The whole content of a regular file (also of one under /proc, whose size is unknown), a new buffer; null when it cannot
 * be read (errno). What is no regular file is not read (EISDIR, EINVAL), nor is one of more than 64 MiB (EFBIG).
 */
PB_API PB_BUFFER *pbFileReadBuffer( PB_STRING *path );
PB_API PB_BUFFER *pbFileReadBufferCstr( const char *path, PB_INT length );

/**
 * Replaces a file whole: writes a new file beside it, synchronises it, renames it over the old one and synchronises the
 * folder, so that a crash at any moment leaves the old content or the new one. A symbolic link is followed, also to a
 * place where no file is yet. On failure the old file is untouched, the new one is gone, and errno tells why. What is no
 * regular file is not replaced (EISDIR, EINVAL).
 *
 * Owner, group, mode and access list of an existing file are kept; where the system does not allow that, the file is
 * replaced only if nobody gains or loses rights, else not (EPERM). Set-id bits, other extended attributes and further
 * hard links are not kept.
 *
 * The new file's name is hidden: ".name." and sixteen digits. One whose writer was killed is removed by the next
 * replacement of the same file. Several processes and threads may replace one file at a time; the last one stays.
 */
PB_API PB_BOOL pbFileTryReplace( PB_STRING *path, PB_BUFFER *content );

PB_CLASS( PB_LINE_SOURCE, pbLineSource )
/* Names: pbLineSourceSort, pbLineSourceObj, pbLineSourceFrom, pbLineSourceRetain, pbLineSourceRelease,
   pbLineSourceToString, pbLineSourceCompare, pbLineSourceEquals */

/** Lines of a buffer, which is retained, or of a file, read as it goes (null when it cannot be opened). One thread. */
PB_API PB_LINE_SOURCE *pbLineSourceCreateFromBuffer( PB_BUFFER *buf );
PB_API PB_LINE_SOURCE *pbLineSourceTryCreateFromFileCstr( const char *path, PB_INT length );
/** The next line without its line feed, a new string (ill-formed UTF-8 becomes U+FFFD), or null at the end. */
PB_API PB_STRING *pbLineSourceTryReadLine( PB_LINE_SOURCE *source );

PB_CLASS( PB_BYTE_SINK, pbByteSink )
/* Names: pbByteSinkSort, pbByteSinkObj, pbByteSinkFrom, pbByteSinkRetain, pbByteSinkRelease, pbByteSinkToString,
   pbByteSinkCompare, pbByteSinkEquals */

/** A sink that fills a buffer, and what it holds so far (a new reference). */
PB_API PB_BYTE_SINK *pbByteSinkCreateBuffer( void );
PB_API PB_BUFFER *pbByteSinkBuffer( PB_BYTE_SINK *sink );
/** A sink that writes a file, created or emptied; null when it cannot be opened (errno). Closed when released. */
PB_API PB_BYTE_SINK *pbByteSinkTryCreateFile( PB_STRING *path );
/** Writes all bytes, in order. After a failure the sink is in error, and writes nothing more. One thread at a time. */
PB_API void pbByteSinkWriteBytes( PB_BYTE_SINK *sink, const void *bytes, PB_INT count );
PB_API PB_BOOL pbByteSinkError( PB_BYTE_SINK *sink );

#endif
