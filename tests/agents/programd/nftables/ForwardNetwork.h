#pragma once

namespace TestSupport {

/// What forwards the packets of a `PacketWire`: they go out by "usual" and arrive at "home", or are
/// led away by "away" to "far", which is a route of the routing table 7. Both ends count into
/// counters of their names and drop.
inline constexpr const char* forwardNetwork = R"(
ip link add usual type veth peer name home address 02:00:00:00:00:04
ip link add away type veth peer name far address 02:00:00:00:00:03
for port in all in home far; do sysctl -qw net.ipv4.conf.$port.rp_filter=0; done
sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1
for port in usual home away far out in; do ip link set $port mtu 65535; ip link set $port up; done
ip address add 198.51.100.1/24 dev usual
ip address add 203.0.113.1/24 dev away
ip address add 2001:db8:a::1/64 dev usual nodad
ip address add 2001:db8:b::1/64 dev away nodad
ip neighbour add 198.51.100.2 lladdr 02:00:00:00:00:04 dev usual
ip neighbour add 203.0.113.2 lladdr 02:00:00:00:00:03 dev away
ip neighbour add 2001:db8:a::2 lladdr 02:00:00:00:00:04 dev usual
ip neighbour add 2001:db8:b::2 lladdr 02:00:00:00:00:03 dev away
ip route add default via 198.51.100.2
ip route add default via 2001:db8:a::2
ip route add default via 203.0.113.2 table 7
ip route add default via 2001:db8:b::2 table 7
nft -f - <<'END'
table ip watch {
	counter far {}
	counter home {}
	chain arrive {
		type filter hook prerouting priority -470
		iifname "far" counter name "far" drop
		iifname "home" counter name "home" drop
	}
}
table ip6 watch {
	counter far {}
	counter home {}
	chain arrive {
		type filter hook prerouting priority -470
		iifname "far" ip6 daddr != ff00::/8 ip6 nexthdr != icmpv6 counter name "far" drop
		iifname "home" ip6 daddr != ff00::/8 ip6 nexthdr != icmpv6 counter name "home" drop
	}
}
END
)";

} // namespace TestSupport
