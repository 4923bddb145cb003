/* Raw IP addresses. No state. */
#include <in/base/in_endpoint_private.hpp>
#include <in/raw/in_raw_address_private.h>

IN_ENDPOINT_DEFINE(
    IN_RAW_ADDRESS, inRawAddress, in___RawAddress, ra, Protocol, protocol, "protocol", 0, 255, IN_RAW_PROTOCOL_OK );
