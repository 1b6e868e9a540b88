"""A router in a box: network namespaces, the daemon, SNMP clients. Used by the demo and the tests.

Everything here expects to run as root of a network and mount namespace of its own, so that
nothing of the machine's own network is ever touched and all of it goes when the process ends.
"""
