#!/bin/sh
# Records a window and a sound from an X display and a sound server of its own, and measures the file: how many pictures,
# how long, and how far each flash of the window is from its beep. Ends with 77 where a program for that is missing.
# Usage: record.sh ENCMGR SCENE SECONDS MOST_MILLISECONDS
encmgr=$1 scene=$2 seconds=$3 most=$4
for program in Xvfb pulseaudio ffmpeg ffprobe "$scene"; do
    command -v "$program" >/dev/null || { echo "skipped: $program is missing"; exit 77; }
done
folder=$(mktemp -d)
started=
trap '[ -z "$started" ] || kill $started; wait; rm -rf "$folder"' EXIT
trap 'exit 1' INT TERM
export HOME="$folder" XDG_RUNTIME_DIR="$folder" PULSE_SERVER="unix:$folder/sound"

Xvfb -displayfd 3 -screen 0 640x480x24 -nolisten tcp 3>"$folder/display" 2>"$folder/xvfb.log" &
started="$! $started"
pulseaudio -n --daemonize=no --use-pid-file=no --exit-idle-time=-1 --disable-shm=yes --log-target="file:$folder/sound.log" \
    --load="module-null-sink sink_name=stage rate=48000" \
    --load="module-native-protocol-unix socket=$folder/sound auth-anonymous=1" 2>"$folder/pulseaudio.log" &
started="$! $started"
for _ in $(seq 50); do
    [ -s "$folder/display" ] && [ -S "$folder/sound" ] && break
    sleep 0.2
done
if ! [ -s "$folder/display" ] || ! [ -S "$folder/sound" ]; then
    cat "$folder"/*.log
    exit 1
fi
DISPLAY=:$(cat "$folder/display")
export DISPLAY
"$scene" &
started="$! $started"
sleep 1

file=$folder/record.mp4
"$encmgr" record screen: -a sound: -r 30 --duration "$seconds" -o "$file" || exit 1

pictures=$(ffprobe -v error -select_streams v -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$file")
lengths=$(ffprobe -v error -show_entries stream=duration -of csv=p=0 "$file" | tr '\n' ' ')
# The window's corner, where the box never is, and where the sound begins again.
ffmpeg -nostdin -v error -i "$file" -an \
    -vf "crop=64:64:0:0,signalstats,metadata=print:key=lavfi.signalstats.YAVG:file=-" -f null - |
    awk '/pts_time/ { sub(/.*pts_time:/, ""); time = $1 }
        /YAVG/ { sub(/.*=/, ""); if ($1 > 128 && !lit) print time; lit = $1 > 128 }' >"$folder/flashes"
ffmpeg -nostdin -v info -i "$file" -vn -af silencedetect=noise=-30dB:d=0.3 -f null - 2>&1 |
    awk '/silence_end/ { sub(/.*silence_end: /, ""); print $1 }' >"$folder/beeps"

echo "$pictures pictures, streams of $lengths s"
awk -v most="$most" -v seconds="$seconds" -v pictures="$pictures" -v lengths="$lengths" '
    function size(x) { return x < 0 ? -x : x }
    NR == FNR { beeps[++count] = $1; next }
    {
        nearest = 1
        for (i = 1; i <= count; ++i)
            if (size($1 - beeps[i]) < size(nearest))
                nearest = $1 - beeps[i]
        if (size(nearest) < 0.5) {
            ++pairs
            sum += nearest
            if (size(nearest) > size(worst))
                worst = nearest
        }
    }
    END {
        printf "%d flashes behind their beeps by %.1f ms on average, %.1f ms at most\n",
            pairs, pairs ? sum / pairs * 1000 : 0, worst * 1000
        bad = pictures != seconds * 30 || pairs < seconds - 2 || size(worst) * 1000 > most
        split(lengths, length_of, " ")
        for (i = 1; i <= 2; ++i)
            bad = bad || size(length_of[i] - seconds) > 1 / 30
        exit bad
    }' "$folder/beeps" "$folder/flashes"
