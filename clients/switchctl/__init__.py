"""The command line of a switch."""
