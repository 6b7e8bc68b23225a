#include "tests/Headers.c" // NOLINT(bugprone-suspicious-include): the same text in both languages
