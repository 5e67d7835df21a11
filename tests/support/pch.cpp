// Compiled once, so that every test program can share its precompiled header.
