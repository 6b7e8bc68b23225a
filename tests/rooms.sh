#!/bin/sh
# Fails where a room of the host includes one that stands above it: commands, validate, job, sources, base.
# Usage: rooms.sh HOST_FOLDER
found=0
above=none
for room in commands validate job sources base; do
    grep -nE "#include \"host/($above)/" "$1/$room"/*.h "$1/$room"/*.cpp && found=1
    above="$above|$room"
done
exit $found
