# What a host of a VPN sends goes to the next hop of the rule itself (ExaBGP).
RD:65535:65536;*;10.0.0.3/32;
