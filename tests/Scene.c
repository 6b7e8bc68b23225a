/* A window and a sound to be recorded: a box that moves all the time, and once a second a flash of the whole window
 * with a beep, both for a tenth of a second and beginning at the same moment. Until it is ended.
 *
 * The beep's moment is the one at which the sound server says that it plays it; the flash is drawn by the clock. */
#include <X11/Xlib.h>
#include <math.h>
#include <pthread.h>
#include <pulse/error.h>
#include <pulse/simple.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <time.h>

enum { kRate = 48000, kPiece = kRate / 100, kPiecesPerSecond = 100, kBeepPieces = 10 };

static const int64_t kFlash = 100000; /* microseconds */

static _Atomic int64_t s_flashAt; /* the next flash or the one that is shown */

static int64_t Now(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000) + now.tv_nsec / 1000;
}

static void* Sound(void* server)
{
    const pa_sample_spec format = {PA_SAMPLE_S16NE, kRate, 1};
    const pa_buffer_attr buffer = {UINT32_MAX, kRate / 20 * 2, UINT32_MAX, UINT32_MAX, UINT32_MAX};
    int error = 0;
    pa_simple* const stream =
        pa_simple_new(server, "scene", PA_STREAM_PLAYBACK, NULL, "beeps", &format, NULL, &buffer, &error);
    if (!stream) {
        fprintf(stderr, "scene: no sound: %s\n", pa_strerror(error));
        return NULL;
    }
    for (int piece = 0;; piece = (piece + 1) % kPiecesPerSecond) {
        int16_t samples[kPiece];
        for (int i = 0; i < kPiece; ++i)
            samples[i] = (int16_t)(piece < kBeepPieces ? 12000.0 * sin(i * 6.283185307 * 1000 / kRate) : 0.0);
        if (piece == 0)
            atomic_store(&s_flashAt, Now() + (int64_t)pa_simple_get_latency(stream, NULL));
        if (pa_simple_write(stream, samples, sizeof(samples), &error) < 0) {
            fprintf(stderr, "scene: the sound breaks off: %s\n", pa_strerror(error));
            return NULL;
        }
    }
}

int main(void)
{
    Display* const display = XOpenDisplay(NULL);
    pthread_t sound;
    if (!display || pthread_create(&sound, NULL, Sound, NULL) != 0) {
        fprintf(stderr, "scene: no display\n");
        return 1;
    }
    const int width = DisplayWidth(display, DefaultScreen(display));
    const int height = DisplayHeight(display, DefaultScreen(display));
    const unsigned long white = WhitePixel(display, DefaultScreen(display));
    const unsigned long black = BlackPixel(display, DefaultScreen(display));
    const Window window =
        XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, (unsigned)width, (unsigned)height, 0, 0, black);
    XMapWindow(display, window);
    const GC pen = XCreateGC(display, window, 0, NULL);
    for (int step = 0;; ++step) {
        const int64_t since = Now() - atomic_load(&s_flashAt);
        const int isFlash = since >= 0 && since < kFlash;
        XSetForeground(display, pen, isFlash ? white : black);
        XFillRectangle(display, window, pen, 0, 0, (unsigned)width, (unsigned)height);
        XSetForeground(display, pen, isFlash ? black : white);
        XFillRectangle(display, window, pen, step * 4 % width, height / 2, 40, 40);
        XSync(display, False);
        const struct timespec pause = {0, 4000000};
        nanosleep(&pause, NULL);
    }
}
