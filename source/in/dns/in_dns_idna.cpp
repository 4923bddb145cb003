/* Internationalised domain names, RFC 3490. No state. */
#include <algorithm>
#include <in/dns/in_dns_idna_private.h>
#include <in/dns/in_dns_punycode.h>
#include <pb/pb_text.hpp>
#include <rfc/rfc.h>

namespace {

constexpr PB_INT acePrefixLength = 4;
constexpr PB_CHAR acePrefixCanonical[acePrefixLength] = { 'x', 'n', '-', '-' };
constexpr PB_CHAR acePrefixAllCaps[acePrefixLength] = { 'X', 'N', '-', '-' };
constexpr PB_CHAR acePrefixMixed1[acePrefixLength] = { 'X', 'n', '-', '-' };
constexpr PB_CHAR acePrefixMixed2[acePrefixLength] = { 'x', 'N', '-', '-' };

constexpr PB_INT maxLabelLength = 63; // RFC 1035 section 2.3.4

constexpr PB_BOOL allowUnassignedAlways = true;
constexpr PB_BOOL useStd3AsciiRulesNever = false;

/** RFC 3490 section 3.1. */
bool isSeparator( PB_CHAR ch )
{
    return ch == 0x002E || ch == 0x3002 || ch == 0xFF0E || ch == 0xFF61;
}

bool isAscii( pb::Chars text )
{
    return std::all_of( text.begin(), text.end(), []( PB_CHAR ch ) { return ch <= 0x7F; } );
}

bool hasAcePrefix( pb::Chars label )
{
    if ( label.size() < acePrefixLength )
        return false;
    for ( const PB_CHAR *prefix : { acePrefixCanonical, acePrefixAllCaps, acePrefixMixed1, acePrefixMixed2 } )
        if ( std::equal( prefix, prefix + acePrefixLength, label.begin(), label.begin() + acePrefixLength ) )
            return true;
    return false;
}

bool std3AsciiRulesHold( pb::Chars label )
{
    auto isLetterDigitHyphen = []( PB_CHAR ch ) { return pb::digitValue( ch ) < 36 || ch == '-'; };
    return std::all_of( label.begin(), label.end(), isLetterDigitHyphen ) && !label.empty() && label.front() != '-' &&
           label.back() != '-';
}

bool lengthOk( PB_STRING *label )
{
    return pbStringLength( label ) >= 1 && pbStringLength( label ) <= maxLabelLength;
}

/** The label as nameprep makes it, or none when that refuses. ASCII stands as it is, its case too. */
pb::Ref<PB_STRING> prepare( PB_STRING *label, PB_BOOL allowUnassigned )
{
    if ( isAscii( pb::chars( label ) ) )
        return pb::share( label );
    return pb::adopt( rfcStringprepProfileNameprep( label, allowUnassigned ) );
}

/** The label behind the prefix, or none: it already has the prefix, or gets too long. */
pb::Ref<PB_STRING> encode( PB_STRING *label )
{
    if ( hasAcePrefix( pb::chars( label ) ) )
        return {};
    pb::Ref<PB_STRING> encoded = pb::adopt( inDnsPunycodeTryEncode( label, maxLabelLength - acePrefixLength ) );
    if ( !encoded )
        return {};
    pb::Ref<PB_STRING> result = pb::adopt( pbStringCreateFromCharsCopy( acePrefixCanonical, acePrefixLength ) );
    pbStringAppend( result.handle(), encoded.get() );
    return result;
}

/** What is encoded behind the prefix of a prepared label, or none. */
pb::Ref<PB_STRING> decode( PB_STRING *label )
{
    pb::Chars chars = pb::chars( label );
    if ( !hasAcePrefix( chars ) )
        return {};
    pb::Ref<PB_STRING> rest = pb::adopt( pbStringCreateTrailing( label, pbStringLength( label ) - acePrefixLength ) );
    return pb::adopt( inDnsPunycodeTryDecode( rest.get(), maxLabelLength ) );
}

/** RFC 3490 section 4.2: whatever goes wrong, the label stands as it is. */
pb::Ref<PB_STRING> toUnicode( PB_STRING *adnLabel, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    pb::Ref<PB_STRING> unchanged = pb::share( adnLabel );
    if ( !lengthOk( adnLabel ) )
        return unchanged;
    pb::Ref<PB_STRING> prepared = prepare( adnLabel, allowUnassigned );
    pb::Ref<PB_STRING> decoded = prepared ? decode( prepared.get() ) : nullptr;
    if ( !decoded )
        return unchanged;
    pb::Ref<PB_STRING> again =
        pb::adopt( in___DnsIdnaLabelTryToAscii( decoded.get(), allowUnassigned, useStd3AsciiRules ) );
    return again && pbStringEqualsCaseFold( again.get(), prepared.get() ) ? decoded : unchanged;
}

/** The name made of what `convert` makes of each label. */
template <class Convert>
PB_STRING *composeConverted( PB_VECTOR *labels, Convert convert )
{
    pb::Ref<PB_VECTOR> converted = pb::adopt( pbVectorCreate() );
    for ( PB_INT i = 0; i < pbVectorLength( labels ); ++i ) {
        pb::Ref<PB_STRING> label = pb::adoptAs<PB_STRING>( pbVectorObjAt( labels, i ) );
        pbVectorAppend( converted.handle(), pbStringObj( convert( label.get() ).get() ) );
    }
    return in___DnsIdnaLabelsCompose( converted.get() );
}

} // namespace

PB_STRING *in___DnsIdnaLabelTryToAscii( PB_STRING *idnLabel, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    PB_ASSERT( idnLabel );
    pb::Ref<PB_STRING> label = prepare( idnLabel, allowUnassigned );
    if ( !label || ( useStd3AsciiRules && !std3AsciiRulesHold( pb::chars( label.get() ) ) ) )
        return nullptr;
    if ( !isAscii( pb::chars( label.get() ) ) )
        label = encode( label.get() );
    return label && lengthOk( label.get() ) ? label.give() : nullptr;
}

PB_BOOL in___DnsIdnaLabelOk( PB_STRING *idnLabel, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    return bool( pb::adopt( in___DnsIdnaLabelTryToAscii( idnLabel, allowUnassigned, useStd3AsciiRules ) ) );
}

PB_STRING *in___DnsIdnaLabelToUnicode( PB_STRING *adnLabel, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    PB_ASSERT( adnLabel );
    PB_ASSERT( in___DnsIdnaLabelOk( adnLabel, allowUnassigned, useStd3AsciiRules ) );
    return toUnicode( adnLabel, allowUnassigned, useStd3AsciiRules ).give();
}

PB_VECTOR *in___DnsIdnaLabelsTrySplit( PB_STRING *maybeIdn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    PB_ASSERT( maybeIdn );
    pb::Ref<PB_VECTOR> labels = pb::adopt( pbVectorCreate() );
    for ( pb::Chars rest = pb::chars( maybeIdn ); !rest.empty(); ) {
        auto length = std::find_if( rest.begin(), rest.end(), isSeparator ) - rest.begin();
        pb::Ref<PB_STRING> label = pb::adopt( pbStringCreateFromCharsCopy( rest.data(), length ) );
        if ( !in___DnsIdnaLabelOk( label.get(), allowUnassigned, useStd3AsciiRules ) )
            return nullptr;
        pbVectorAppend( labels.handle(), pbStringObj( label.get() ) );
        rest = rest.subspan( std::min( static_cast<std::size_t>( length ) + 1, rest.size() ) );
    }
    return pbVectorLength( labels.get() ) ? labels.give() : nullptr;
}

PB_STRING *in___DnsIdnaLabelsCompose( PB_VECTOR *idnLabels )
{
    PB_ASSERT( idnLabels );
    PB_ASSERT( pbVectorLength( idnLabels ) );
    return pbStringJoinCstr( idnLabels, ".", -1 );
}

PB_BOOL in___DnsIdnaDomainNameOk( PB_STRING *idn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    PB_ASSERT( idn );
    return bool( pb::adopt( in___DnsIdnaLabelsTrySplit( idn, allowUnassigned, useStd3AsciiRules ) ) );
}

PB_STRING *in___DnsIdnaDomainNameToAscii( PB_STRING *idn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    PB_ASSERT( idn );
    pb::Ref<PB_VECTOR> idnLabels = pb::adopt( in___DnsIdnaLabelsTrySplit( idn, allowUnassigned, useStd3AsciiRules ) );
    PB_ASSERT( idnLabels );
    return composeConverted( idnLabels.get(), [=]( PB_STRING *label ) {
        return pb::adopt( in___DnsIdnaLabelTryToAscii( label, allowUnassigned, useStd3AsciiRules ) );
    } );
}

PB_STRING *in___DnsIdnaDomainNameToUnicode( PB_STRING *adn, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    PB_ASSERT( adn );
    pb::Ref<PB_VECTOR> adnLabels = pb::adopt( in___DnsIdnaLabelsTrySplit( adn, allowUnassigned, useStd3AsciiRules ) );
    PB_ASSERT( adnLabels );
    return composeConverted(
        adnLabels.get(), [=]( PB_STRING *label ) { return toUnicode( label, allowUnassigned, useStd3AsciiRules ); } );
}

PB_BOOL inDnsIdnaLabelOk( PB_STRING *idnLabel )
{
    return in___DnsIdnaLabelOk( idnLabel, allowUnassignedAlways, useStd3AsciiRulesNever );
}

PB_STRING *inDnsIdnaLabelToAscii( PB_STRING *idnLabel )
{
    PB_ASSERT( inDnsIdnaLabelOk( idnLabel ) );
    return in___DnsIdnaLabelTryToAscii( idnLabel, allowUnassignedAlways, useStd3AsciiRulesNever );
}

PB_STRING *inDnsIdnaLabelToUnicode( PB_STRING *adnLabel )
{
    PB_ASSERT( adnLabel );
    PB_ASSERT( inDnsIdnaLabelOk( adnLabel ) );
    return toUnicode( adnLabel, allowUnassignedAlways, useStd3AsciiRulesNever ).give();
}

PB_BOOL inDnsIdnaDomainNameOk( PB_STRING *idn )
{
    return in___DnsIdnaDomainNameOk( idn, allowUnassignedAlways, useStd3AsciiRulesNever );
}

PB_STRING *inDnsIdnaDomainNameToAscii( PB_STRING *idn )
{
    return in___DnsIdnaDomainNameToAscii( idn, allowUnassignedAlways, useStd3AsciiRulesNever );
}

PB_STRING *inDnsIdnaDomainNameToUnicode( PB_STRING *adn )
{
    return in___DnsIdnaDomainNameToUnicode( adn, allowUnassignedAlways, useStd3AsciiRulesNever );
}

PB_BOOL inDnsIdnaDomainNameEquals( PB_STRING *idnA, PB_STRING *idnB )
{
    PB_ASSERT( idnA );
    PB_ASSERT( idnB );
    pb::Ref<PB_STRING> unicodeA = pb::adopt( inDnsIdnaDomainNameToUnicode( idnA ) );
    pb::Ref<PB_STRING> unicodeB = pb::adopt( inDnsIdnaDomainNameToUnicode( idnB ) );
    return pbStringEqualsCaseFold( unicodeA.get(), unicodeB.get() );
}
