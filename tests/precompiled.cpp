// Nothing but the headers that every test needs, compiled once for all of them.
