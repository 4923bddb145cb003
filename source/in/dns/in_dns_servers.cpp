/* The host's name servers. No state. */
#include <in/dns/in_dns_servers.h>
#include <in/imp/in_imp_sockaddr_unix_private.h>

PB_VECTOR *inDnsServersVector( void )
{
    return in___ImpSystemEnumerateDnsServers();
}
