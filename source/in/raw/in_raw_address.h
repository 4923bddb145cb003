/* An endpoint of raw IP: an IP address and the number of the protocol that it carries (RFC 791, RFC 8200 section 3). */
#ifndef IN_RAW_ADDRESS_H
#define IN_RAW_ADDRESS_H

#include <in/base/in_endpoint.h>

/** True for 0..255. */
#define IN_RAW_PROTOCOL_OK( protocol ) ( ( protocol ) >= 0 && ( protocol ) <= 255 )

/** The number is the Protocol, 0..255, under the key "protocol"; in the text form it stands where a port would. */
IN_ENDPOINT( IN_RAW_ADDRESS, inRawAddress, Protocol );
/* Names: inRawAddressSort, inRawAddressObj, inRawAddressFrom, inRawAddressRetain, inRawAddressRelease,
   inRawAddressToString, inRawAddressCompare, inRawAddressEquals, inRawAddressCreate, inRawAddressCreateFrom,
   inRawAddressAddress, inRawAddressProtocol, inRawAddressSetAddress, inRawAddressSetProtocol, inRawAddressStore,
   inRawAddressTryRestore */

#endif
