/*
 * The ground of every module: the basic types, the export mark, preconditions.
 *
 * A broken precondition ends the process. Bad data never does: functions that meet it are called ...Try... and
 * return null, false or -1. Out of memory aborts. There is no other way to fail. The comment of in/in.h has the rules for
 * references, null, start and stop, and fork.
 */
#ifndef PB_BASE_H
#define PB_BASE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define PB_API extern "C" __attribute__( ( visibility( "default" ) ) )
#else
#define PB_API extern __attribute__( ( visibility( "default" ) ) )
#endif

typedef int64_t PB_INT;   /* numbers, counts, lengths, indexes, milliseconds, bits per second */
typedef bool PB_BOOL;     /* C bool */
typedef uint32_t PB_CHAR; /* one Unicode code point, 0..PB_CHAR_MAX */
typedef uint8_t PB_BYTE;  /* one octet */

#define PB_INT_MAX INT64_MAX
#define PB_INT_MIN INT64_MIN
#define PB_CHAR_MAX 0x10FFFF
#define PB_CHAR_FULL_STOP ( (PB_CHAR)0x2E )

/** True for a Unicode code point, up to 0x10FFFF. */
#define PB_CHAR_OK( c ) ( (uint64_t)( c ) <= PB_CHAR_MAX )
#define PB_INT_FROM( value ) ( (PB_INT)( value ) )
#define PB_BOOL_FROM( value ) ( ( value ) ? true : false )
#define PB_SIZEOF_ARRAY( array ) ( (PB_INT)( sizeof( array ) / sizeof( ( array )[0] ) ) )

/** True when the sum, difference or product of two PB_INT values is representable. */
#define PB_INT_ADD_OK( a, b ) ( pb___IntAddOk( ( a ), ( b ) ) )
#define PB_INT_SUB_OK( a, b ) ( pb___IntSubOk( ( a ), ( b ) ) )
#define PB_INT_MUL_OK( a, b ) ( pb___IntMulOk( ( a ), ( b ) ) )
/** True when the PB_INT fits a C int. */
#define PB_INT_TO_SIGNED_INT_CONV_OK( value ) ( ( value ) >= INT32_MIN && ( value ) <= INT32_MAX )
/** True when the PB_INT fits the unsigned integer type, which must be narrower than 64 bits. */
#define PB___INT_TO_UNSIGNED_TYPE_CONV_OK( value, type ) ( ( value ) >= 0 && ( value ) <= (PB_INT)(type)-1 )

static inline PB_BOOL pb___IntAddOk( PB_INT a, PB_INT b )
{
    PB_INT sum;
    return !__builtin_add_overflow( a, b, &sum );
}

static inline PB_BOOL pb___IntSubOk( PB_INT a, PB_INT b )
{
    PB_INT difference;
    return !__builtin_sub_overflow( a, b, &difference );
}

static inline PB_BOOL pb___IntMulOk( PB_INT a, PB_INT b )
{
    PB_INT product;
    return !__builtin_mul_overflow( a, b, &product );
}

/** The sum, held at PB_INT_MIN or PB_INT_MAX where it would overflow. */
static inline PB_INT pbIntAddSaturating( PB_INT a, PB_INT b )
{
    PB_INT sum;
    if ( !__builtin_add_overflow( a, b, &sum ) )
        return sum;
    return b > 0 ? PB_INT_MAX : PB_INT_MIN;
}

/** Exchanges the two values when the first is larger than the second. */
static inline void pbIntSortPair( PB_INT *a, PB_INT *b )
{
    if ( *a > *b ) {
        PB_INT larger = *a;
        *a = *b;
        *b = larger;
    }
}

/** `value`, held within `low`..`high`. */
static inline PB_INT pbIntConstrain( PB_INT value, PB_INT low, PB_INT high )
{
    return value < low ? low : value > high ? high : value;
}

/**
 * Ends the process for a broken precondition: writes the source path, the line, `context` and the text of the failed
 * expression (each of these two may be null) to standard error, as far as that takes them within a second, then traps.
 * Any thread, in a signal handler too.
 */
PB_API void pb___Abort( const char *context, const char *path, PB_INT line, const char *expression )
    __attribute__( ( noreturn, cold ) );

/** Aborts unless `condition` holds. The text in the abort is the condition as it is written. */
#define PB_ASSERT( condition ) ( ( condition ) ? (void)0 : pb___Abort( NULL, __FILE__, __LINE__, #condition ) )
#define PB_ASSERT_CONTEXT( context, condition ) \
    ( ( condition ) ? (void)0 : pb___Abort( context, __FILE__, __LINE__, #condition ) )

#endif
