/*
 * Enumerations whose members stand in one list, which declares and registers them: a macro that calls its first argument
 * for each member, with its second one, the member's name and its value.
 */
#ifndef IN_VOCABULARY_H
#define IN_VOCABULARY_H

#include <pb/pb_base.h>

/** For the declaration: enum { LIST( IN_ENUMERANT, ) }. */
#define IN_ENUMERANT( context, name, value ) name = value,

#endif
