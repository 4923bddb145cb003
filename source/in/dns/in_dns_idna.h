/*
 * Internationalised domain names (IDNA, RFC 3490). Names are held in Unicode; they become ASCII only where they leave the
 * library, and Unicode where they come in. Unassigned code points are let through, and ASCII labels are not held to the
 * rules of host names (an underscore is fine). Nameprep is RFC 3491. Any thread; null aborts.
 *
 * A name is one or more labels between separators: the full stops U+002E, U+3002, U+FF0E, U+FF61. One may stand at the
 * end. A name, and the number of its labels, may have any length.
 */
#ifndef IN_DNS_IDNA_H
#define IN_DNS_IDNA_H

#include <pb/pb_string.h>

/** Whether a label has an ASCII form, of 1 to 63 characters. */
PB_API PB_BOOL inDnsIdnaLabelOk( PB_STRING *idnLabel );
/**
 * The ASCII form, a new string: an ASCII label as it stands, any other one prepared and, unless that made it ASCII,
 * encoded behind "xn--". Aborts unless inDnsIdnaLabelOk.
 */
PB_API PB_STRING *inDnsIdnaLabelToAscii( PB_STRING *idnLabel );
/**
 * The Unicode form, a new string: what is encoded behind "xn--" (in either case), if its ASCII form is that label again;
 * otherwise the label as it stands. Aborts unless inDnsIdnaLabelOk.
 */
PB_API PB_STRING *inDnsIdnaLabelToUnicode( PB_STRING *adnLabel );

/** Whether a text is a name all of whose labels are OK. */
PB_API PB_BOOL inDnsIdnaDomainNameOk( PB_STRING *idn );
/**
 * The name with every label in its ASCII form, or its Unicode form, joined by full stops, none at the end; a new string.
 * Aborts unless inDnsIdnaDomainNameOk.
 */
PB_API PB_STRING *inDnsIdnaDomainNameToAscii( PB_STRING *idn );
PB_API PB_STRING *inDnsIdnaDomainNameToUnicode( PB_STRING *adn );
/**
 * Whether two names are the same: their Unicode forms, case apart. Labels that are not encoded are not prepared for this,
 * so a letter and its compatibility form differ. Aborts unless both are inDnsIdnaDomainNameOk.
 */
PB_API PB_BOOL inDnsIdnaDomainNameEquals( PB_STRING *idnA, PB_STRING *idnB );

#endif
