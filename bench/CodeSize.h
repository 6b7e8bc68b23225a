#ifndef ENCMGR_BENCH_CODE_SIZE_H
#define ENCMGR_BENCH_CODE_SIZE_H

// Bytes of code in a shared library of this program's own word size: its section .text. Throws if it can't be read.
double CodeSize(const char* path);

#endif // ENCMGR_BENCH_CODE_SIZE_H
