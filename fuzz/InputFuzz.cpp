// Media files as sources: whatever the bytes are, the pictures and the sound that come are what was announced.
#include "encmgr/Export.h"
#include "fuzz/FuzzInput.h"
#include "host/base/ExitCode.h"
#include "host/base/Messages.h"
#include "host/sources/Source.h"

#include <new>
#include <sys/mman.h>
#include <unistd.h>

// libavformat keeps some bytes of files that it refuses.
extern "C" ENCMGR_API const char* __asan_default_options();
extern "C" ENCMGR_API const char* __asan_default_options()
{
    return "detect_leaks=0:allocator_may_return_null=1";
}

namespace
{

using namespace host;

constexpr int kMostItems = 60;

void Check(const Source& source, const Item& item, Nanoseconds& lastPicture, Nanoseconds& lastBlock, bool isPart)
{
    const bool isPicture = item.kind == Item::Kind::kPicture;
    Nanoseconds& last = isPicture ? lastPicture : lastBlock;
    if (!isPart && item.time < last - kSecond / 2) // of a part, pictures in between may be left out
        ExpectNone("times fall back from " + std::to_string(last) + " to " + std::to_string(item.time));
    last = item.time;
    if (!isPicture) {
        Expect(source.Audio() && !item.samples.empty() && item.samples.size() % source.Audio()->channels == 0,
               "a block of another format");
        return;
    }
    Expect(source.Video() && item.frame && item.frame->width == source.Video()->width &&
               item.frame->height == source.Video()->height && item.frame->format == AV_PIX_FMT_YUV420P,
           "a picture of another format");
    for (int plane = 0; plane < 3; ++plane)
        Expect(item.frame->data[plane] && item.frame->linesize[plane] > 0, "a picture without a plane");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Messages messages;
    messages.SetVolume(Volume::kQuiet);
    FuzzInput input(data, size);
    const int options = input.Random(0, 255);
    const std::string bytes = input.Rest();
    const int file = memfd_create("input", 0);
    Expect(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
    Wanted wanted = {(options & 1) == 0, (options & 2) == 0};
    wanted.audioFormat = {options & 4 ? 8000 : 0, options & 8 ? 1 : 0};
    wanted.start = options & 16 ? kSecond / 2 : 0;
    try {
        const std::unique_ptr<Source> source = OpenSource("/proc/self/fd/" + std::to_string(file), wanted, messages);
        if (options & 32)
            source->Deinterlace((options & 64) != 0);
        Nanoseconds lastPicture = -kFarthestStamp, lastBlock = -kFarthestStamp;
        for (int i = 0; i < kMostItems; ++i) {
            const Item item = source->Next();
            if (item.kind == Item::Kind::kEnd)
                break;
            Check(*source, item, lastPicture, lastBlock, wanted.start != 0);
        }
    } catch (const HostError& error) {
        Expect(*error.what() != '\0', "a refusal without words");
    } catch (const std::bad_alloc&) {
        // For absurd rates libswresample wants more memory than there is; main tells of it.
    }
    close(file);
    return 0;
}
