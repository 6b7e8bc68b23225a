#!/bin/sh
# The objects made for better instruction sets define nothing that the linker could take for the whole program, which
# lesser processors run too: sets.sh NM OBJECTS...
set -u
nm=$1
shift
status=1 # until there is such an object
for object; do
    case $object in *Sse41.cpp.o | *Avx2.cpp.o | *Avx512.cpp.o) ;; *) continue ;; esac
    if "$nm" -C "$object" | grep -v ' DW\.ref\.' | grep -E ' [WVu] '; then
        echo "in $object"
        exit 1
    fi
    status=0
done
exit $status
