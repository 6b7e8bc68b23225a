#include "Headers.c"
