/*
 * IDNA with its two flags: whether unassigned code points are let through, and whether labels are held to the rules of
 * host names (STD 3: letters, digits and hyphens of ASCII, no hyphen at either end). Everything else as in in_dns_idna.h.
 */
#ifndef IN_DNS_IDNA_PRIVATE_H
#define IN_DNS_IDNA_PRIVATE_H

#include <in/dns/in_dns_idna.h>

/** The ASCII form of a label, a new string, or null (RFC 3490 section 4.1). */
PB_STRING *in___DnsIdnaLabelTryToAscii( PB_STRING *idnLabel, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules );
PB_BOOL in___DnsIdnaLabelOk( PB_STRING *idnLabel, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules );
PB_STRING *in___DnsIdnaLabelToUnicode( PB_STRING *adnLabel, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules );

PB_BOOL in___DnsIdnaDomainNameOk( PB_STRING *idn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules );
PB_STRING *in___DnsIdnaDomainNameToAscii( PB_STRING *idn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules );
PB_STRING *in___DnsIdnaDomainNameToUnicode( PB_STRING *adn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules );

/** The labels of a name, each one OK, a new vector; null when the text is no name. */
PB_VECTOR *in___DnsIdnaLabelsTrySplit( PB_STRING *maybeIdn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules );
/** The labels joined by full stops, a new string; aborts on none. */
PB_STRING *in___DnsIdnaLabelsCompose( PB_VECTOR *idnLabels );

#endif
