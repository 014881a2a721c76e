// Nothing but the headers that the test programs share, precompiled.
