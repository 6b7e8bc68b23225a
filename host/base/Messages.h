// What the program says on the standard error stream, the memory of what the library and libav have logged, and the
// file that all of it goes to.
#ifndef ENCMGR_HOST_MESSAGES_H
#define ENCMGR_HOST_MESSAGES_H

#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace host
{

enum class Volume {
    kQuiet,   // errors alone
    kNormal,  // and warnings, remarks and the progress
    kVerbose, // and the logs of the library and of libav
};

// Something that was said, whether or not the volume let it through.
struct Said {
    const char* kind; // "error", "cause", "warning" or "note"
    std::string text;
};

// There is one, for as long as the program runs. Any thread may log and speak.
class Messages
{
public:
    // Takes both logs over; the destructor gives them back.
    Messages();
    ~Messages();
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    void SetVolume(Volume volume) { m_volume = volume; }
    Volume GetVolume() const { return m_volume; }

    // Everything goes to the end of this file, too, with the time, whatever the volume: our own words, the library's
    // log and libav's. Throws HostError.
    void OpenLog(const std::string& path);

    void Error(const std::string& text);
    void Cause(const std::string& text); // of the error before
    void Warn(const std::string& text);
    void Say(const std::string& text);
    void Detail(const std::string& text); // with -v

    // The first of these, but for details.
    std::vector<Said> AllSaid() const;

    // A line as it is, whatever the volume; not for the log.
    void ShowLine(const std::string& text);

    // A line that is overwritten in place; a message first wipes it away. For a terminal.
    void ShowStatus(const std::string& text);
    void EndStatus();

    // The library's log lines, cleaned of line ends: Mark() is a place in the log, LinesSince() what came after it.
    uint64_t Mark() const;
    std::vector<std::string> LinesSince(uint64_t mark) const;

    // The last error that libav has logged since the last taking, without its line end; empty if there was none.
    std::string MediaError() const;
    std::string TakeMediaError();

    // For the two logs.
    void TakeLibraryLine(const wchar_t* text);
    void TakeMediaText(int level, const std::string& text);
    int MostMediaLevel() const; // what lies above is left out

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void Tell(Volume least, std::string_view before, const char* kind, const std::string& text);
    void Print(std::string_view before, const std::string& text);
    void Log(const char* kind, const std::string& text);
    void WipeStatus();

    mutable std::recursive_mutex m_mutex;
    Volume m_volume = Volume::kNormal;
    std::deque<std::string> m_lines;
    uint64_t m_firstLine = 0; // number of m_lines.front()
    std::string m_mediaPart;  // libav logs long lines piece by piece
    std::string m_mediaError;
    std::vector<Said> m_said;
    std::unique_ptr<std::FILE, CloseFile> m_log;
    size_t m_statusWidth = 0;
};

} // namespace host

#endif // ENCMGR_HOST_MESSAGES_H
