#include "host/validate/SlotLog.h"

#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "host/validate/StepNote.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

namespace host
{

namespace
{

const std::vector<ENCODER_ITEM>* s_encoders = nullptr;
const std::vector<FILEFORMAT_ITEM>* s_formats = nullptr;
const Messages* s_messages = nullptr;

thread_local SlotLog* t_log = nullptr;

// The handles that the library gets: the plug-in's own, with the record that it belongs to.
template <class Item> struct Handle {
    const Item* item;
    void* own;
};
using EncoderHandle = Handle<ENCODER_ITEM>;
using FileHandle = Handle<FILEFORMAT_ITEM>;

EncoderHandle& Encoder(void* handle)
{
    return *static_cast<EncoderHandle*>(handle);
}

FileHandle& File(void* handle)
{
    return *static_cast<FileHandle*>(handle);
}

template <class Item> const Item& Find(const std::vector<Item>& items, KXDWORD fourCC)
{
    return *std::find_if(items.begin(), items.end(), [fourCC](const Item& item) { return item.dwFourCC == fourCC; });
}

// How much has been said, by the log or past it; nothing where the error stream is no file that could tell.
std::optional<uint64_t> SaidSoFar()
{
    struct stat status = {};
    if (fstat(STDERR_FILENO, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return s_messages->Mark() + static_cast<uint64_t>(status.st_size);
}

// Calls a slot and notes it.
template <class Slot, class... Args>
auto Call(const char* name, KXDWORD fourCC, Slot slot, Args... args) -> decltype(slot(args...))
{
    using Result = decltype(slot(args...));
    const StepNote note(Format("%s of %s was called", name, FourCCText(fourCC).c_str()));
    const std::optional<uint64_t> before = SaidSoFar();
    SlotLog* const log = t_log;
    const size_t place = log ? log->size() : 0;
    if (log)
        log->push_back({name, fourCC});
    const auto end = [&](bool hasFailed, bool hasThrown) {
        if (log)
            (*log)[place] = {name, fourCC, hasFailed, hasThrown, !before || SaidSoFar() != before};
    };
    try {
        if constexpr (std::is_void_v<Result>) {
            slot(args...);
            end(false, false);
        } else {
            const Result result = slot(args...);
            end(!result, false);
            return result;
        }
    } catch (...) {
        end(true, true);
        throw;
    }
}

#define CALL(item, slot, ...) Call(#slot, (item).dwFourCC, (item).slot, __VA_ARGS__)

void* CreateEncoder(KXDWORD fourCC, EncodeParam* param)
{
    // A revise slot may have made another FourCC of its own; the encoder stays the one whose slot this is.
    const bool isKnown = std::any_of(s_encoders->begin(), s_encoders->end(),
                                     [fourCC](const ENCODER_ITEM& item) { return item.dwFourCC == fourCC; });
    if (!isKnown && (!t_log || t_log->empty()))
        return nullptr;
    const ENCODER_ITEM& item = Find(*s_encoders, isKnown ? fourCC : t_log->back().fourCC);
    void* const own = CALL(item, pfnCreate, fourCC, param);
    return own ? std::make_unique<EncoderHandle>(EncoderHandle{&item, own}).release() : nullptr;
}

int Encode(void* handle, const MEDIA_FRAME* frame, void** out, KXDWORD* count)
{
    return CALL(*Encoder(handle).item, pfnEncode, Encoder(handle).own, frame, out, count);
}

int GetDelay(void* handle)
{
    return CALL(*Encoder(handle).item, pfnGetDelay, Encoder(handle).own);
}

void DestroyEncoder(void* handle)
{
    const std::unique_ptr<EncoderHandle> encoder(&Encoder(handle));
    CALL(*encoder->item, pfnDestroy, encoder->own);
}

void GetAudioExtra(void* handle, void** value1, KXDWORD* value2)
{
    CALL(*Encoder(handle).item, pfnGetAudioExtra, Encoder(handle).own, value1, value2);
}

void GetVideoExtra(void* handle, uintptr_t* value1, uintptr_t* value2, uintptr_t* value3, uintptr_t* value4)
{
    CALL(*Encoder(handle).item, pfnGetVideoExtra, Encoder(handle).own, value1, value2, value3, value4);
}

int ReviseAudio(EncodeParamAudio* audio)
{
    return CALL(Find(*s_encoders, audio->dwFourCC), pfnReviseAudio, audio);
}

int ReviseVideo(EncodeParam* param)
{
    return CALL(Find(*s_encoders, param->video.dwFourCC), pfnReviseVideo, param);
}

void* CreateFile(const wchar_t* path, EncodeParam* param)
{
    const FILEFORMAT_ITEM& item = Find(*s_formats, param->dwFileFourCC);
    void* const own = CALL(item, pfnCreate, path, param);
    return own ? std::make_unique<FileHandle>(FileHandle{&item, own}).release() : nullptr;
}

int WriteAudio(void* handle, const void* data, KXDWORD count)
{
    return CALL(*File(handle).item, pfnWriteAudio, File(handle).own, data, count);
}

int WriteVideo(void* handle, const void* data)
{
    return CALL(*File(handle).item, pfnWriteVideo, File(handle).own, data);
}

void CloseFile(void* handle, FC_CLOSE_CALLBACK callback, void* param)
{
    const std::unique_ptr<FileHandle> file(&File(handle));
    CALL(*file->item, pfnClose, file->own, callback, param);
}

void SetAudioExtra(void* handle, void* value1, KXDWORD value2)
{
    CALL(*File(handle).item, pfnSetAudioExtra, File(handle).own, value1, value2);
}

void SetVideoExtra(void* handle, uintptr_t value1, uintptr_t value2, uintptr_t value3, uintptr_t value4)
{
    CALL(*File(handle).item, pfnSetVideoExtra, File(handle).own, value1, value2, value3, value4);
}

#undef CALL

// Null stays null.
template <class Function> void Replace(Function*& slot, Function* by)
{
    if (slot)
        slot = by;
}

} // namespace

SlotLogScope::SlotLogScope(SlotLog& log) : m_before(t_log)
{
    t_log = &log;
}

SlotLogScope::~SlotLogScope()
{
    t_log = m_before;
}

void RecordSlotsOf(const std::vector<ENCODER_ITEM>& encoders, const std::vector<FILEFORMAT_ITEM>& formats,
                   const Messages& messages)
{
    s_encoders = &encoders;
    s_formats = &formats;
    s_messages = &messages;
}

ENCODER_ITEM Recorded(const ENCODER_ITEM& item)
{
    ENCODER_ITEM recorded = item;
    Replace(recorded.pfnCreate, CreateEncoder);
    Replace(recorded.pfnEncode, Encode);
    Replace(recorded.pfnGetDelay, GetDelay);
    Replace(recorded.pfnDestroy, DestroyEncoder);
    Replace(recorded.pfnGetAudioExtra, GetAudioExtra);
    Replace(recorded.pfnGetVideoExtra, GetVideoExtra);
    Replace(recorded.pfnReviseAudio, ReviseAudio);
    Replace(recorded.pfnReviseVideo, ReviseVideo);
    return recorded;
}

FILEFORMAT_ITEM Recorded(const FILEFORMAT_ITEM& item)
{
    FILEFORMAT_ITEM recorded = item;
    Replace(recorded.pfnCreate, CreateFile);
    Replace(recorded.pfnWriteAudio, WriteAudio);
    Replace(recorded.pfnWriteVideo, WriteVideo);
    Replace(recorded.pfnClose, CloseFile);
    Replace(recorded.pfnSetAudioExtra, SetAudioExtra);
    Replace(recorded.pfnSetVideoExtra, SetVideoExtra);
    return recorded;
}

} // namespace host
