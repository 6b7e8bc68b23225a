#include "host/validate/StepNote.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>

namespace host
{

namespace
{

constexpr size_t kSize = 512;

std::array<char, kSize> s_nowhere;
char* s_note = s_nowhere.data();
std::mutex s_mutex; // checks may use threads

} // namespace

void NoteStepsIn(const std::string& file)
{
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return;
    void* const mapped = ftruncate(descriptor, kSize) == 0
                             ? mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0)
                             : MAP_FAILED;
    close(descriptor);
    if (mapped != MAP_FAILED)
        s_note = static_cast<char*>(mapped);
}

void NoteStep(std::string_view text)
{
    const std::lock_guard lock(s_mutex);
    const size_t length = text.copy(s_note, kSize - 1);
    std::memset(s_note + length, 0, kSize - length);
}

std::string ReadStepNote(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    return bytes.substr(0, bytes.find('\0'));
}

StepNote::StepNote(std::string_view text)
{
    {
        const std::lock_guard lock(s_mutex);
        m_before = s_note;
    }
    NoteStep(m_before.empty() ? std::string(text) : m_before + ", " + std::string(text));
}

StepNote::~StepNote()
{
    NoteStep(m_before);
}

} // namespace host
