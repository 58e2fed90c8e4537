// Gives the precompiled header of the tests a library to live in.
