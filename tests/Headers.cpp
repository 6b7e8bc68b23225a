#include "tests/Headers.c"
