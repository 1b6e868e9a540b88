"""Faults done to the daemon, each outcome held against what its stored configuration asks for."""
