// Nothing: the program is there for the headers that are compiled with it, once for all tests.
